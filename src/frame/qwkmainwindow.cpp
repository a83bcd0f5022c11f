#include "frame/qwkmainwindow.h"

#include <QEvent>
#include <QVBoxLayout>

#include "frame/titlebar.h"
#include "frame/widgetwindowagent.h"

QWKMainWindow::QWKMainWindow(QWidget *parent) : QMainWindow(parent)
{
    windowAgent = new QWK::WidgetWindowAgent(this);
    windowAgent->setup(this);

    mainLayout = new QVBoxLayout();
    mainLayout->setSpacing(0);
    mainLayout->setContentsMargins(0, 0, 0, 0);

    titleBar = new TitleBar(true, true, this);
    titleBar->setObjectName(QStringLiteral("titleBar"));
    titleBar->setStyleSheet(QStringLiteral("background: rgb(255, 255, 255); border-width:0;"));
    mainLayout->addWidget(titleBar);
    titleBar->attachTo(windowAgent);

    auto *central = new QWidget(this);
    central->setLayout(mainLayout);
    setCentralWidget(central);
}

void QWKMainWindow::setTitle(const QString &title)
{
    if (titleBar)
        titleBar->setTitle(title);
}

void QWKMainWindow::changeEvent(QEvent *event)
{
    // Maximising from the bar's double click comes here too, not only from
    // the button, so the button's look follows the state from this place.
    if (event->type() == QEvent::WindowStateChange && titleBar)
        titleBar->setMaxState(isMaximized());
    QMainWindow::changeEvent(event);
}
