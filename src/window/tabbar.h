#pragma once

#include <QTabBar>

// The movable row of tabs. Left and Right pressed in a list switch tabs, and
// a user tab has a right-click menu to edit or delete it.
class TabBar : public QTabBar
{
    Q_OBJECT
public:
    explicit TabBar(QWidget *parent = nullptr);

    // Installed on every list of the tabs.
    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    void editTabSignal(uint index);
    void deleteTabSignal(uint index);

protected:
    void mousePressEvent(QMouseEvent *event) override;

private:
    void showTabMenu(int index, const QPoint &globalPos);
};
