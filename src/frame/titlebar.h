#pragma once

#include <QWidget>

class QIcon;
class QToolButton;
class QVariant;

namespace QWK {
class WidgetWindowAgent;
}

// The one title bar of every window: optional icon and title on the left,
// the minimise, maximise and close buttons on the right. The look of the
// buttons comes from the style sheet, by object name and "MaxState".
class TitleBar : public QWidget
{
    Q_OBJECT

public:
    TitleBar(bool hasMin, bool hasMax, QWidget *parent = nullptr);

    void setIcon(const QIcon &icon);
    // Adds a label each time; an earlier title stays.
    void setTitle(const QString &title);

    QToolButton *minButton() const { return minBtn; }
    QToolButton *maxButton() const { return maxBtn; }
    QToolButton *closeButton() const { return closeBtn; }

    // Hands the bar and each of its buttons to the window's agent, so that
    // the bar drags the window and the buttons keep their clicks.
    void attachTo(QWK::WidgetWindowAgent *agent);
    // Lets the style sheet show the restore or the maximise image.
    void setMaxState(bool maximized);

    // Sets a property that style sheet rules select on, and repolishes the
    // widget so that the new rule takes effect at once.
    static void setWidgetProperty(QWidget *w, const char *name, const QVariant &value);
    // Joins the files in order into the application's style sheet; a file
    // that cannot be opened is left out.
    static void loadStyleSheet(const QStringList &paths);

public slots:
    void onMinButtonClicked();

private:
    bool hasMinButton = false;
    bool hasMaxButton = false;
    QToolButton *minBtn = nullptr;
    QToolButton *maxBtn = nullptr;
    QToolButton *closeBtn = nullptr;
    bool hasIcon = false;
};
