#pragma once

#include <QList>
#include <QObject>

class QSettings;

// Owner of the one QSettings object (<data folder>/config/vorlik/vorlik.ini)
// and typed access to the values that belong to no settings page.
class Setting : public QObject
{
    Q_OBJECT
public:
    static Setting &instance();

    // `dataDirectory` is the folder the program keeps its files in.
    void init(const QString &dataDirectory);
    QSettings *settings() const { return qsettings; }

    bool isAutoCheckUpdate() const;
    void setAutoCheckUpdate(bool on);
    bool getMainWindowSize(int &width, int &height) const;
    void setMainWindowSize(int width, int height);
    bool getTabOrder(QList<uint> &list) const;
    void setTabOrder(const QList<uint> &list);
    void removeTabOrder();
    bool isParentAutoStart() const;
    void setParentAutoStart(bool on);
    void sync();

private:
    Setting() = default;
    QSettings *qsettings = nullptr;
};
