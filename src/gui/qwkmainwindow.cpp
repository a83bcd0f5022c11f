#include "gui/qwkmainwindow.h"

#include <QEvent>
#include <QToolButton>
#include <QVBoxLayout>

#include "gui/titlebar.h"
#include "gui/widgetwindowagent.h"

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
    windowAgent->setTitleBar(titleBar);
    windowAgent->setHitTestVisible(titleBar->minButton(), true);
    windowAgent->setSystemButton(QWK::WidgetWindowAgent::Minimize, titleBar->minButton());
    windowAgent->setHitTestVisible(titleBar->maxButton(), true);
    windowAgent->setSystemButton(QWK::WidgetWindowAgent::Maximize, titleBar->maxButton());
    windowAgent->setHitTestVisible(titleBar->closeButton(), true);
    windowAgent->setSystemButton(QWK::WidgetWindowAgent::Close, titleBar->closeButton());

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
    if (event->type() == QEvent::WindowStateChange && titleBar) {
        if (auto *button = titleBar->findChild<QToolButton *>(QStringLiteral("maxToolButton")))
            TitleBar::setWidgetProperty(button, "MaxState", isMaximized());
    }
    QMainWindow::changeEvent(event);
}
