#include "frame/qwkwidget.h"

#include <QEvent>
#include <QFrame>
#include <QVBoxLayout>

#include "frame/screenfit.h"
#include "frame/titlebar.h"
#include "frame/widgetwindowagent.h"

QWKWidget::QWKWidget(QWidget *parent) : QWidget(parent)
{
    windowAgent = new QWK::WidgetWindowAgent(this);
    windowAgent->setup(this);

    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);

    titleBar = new TitleBar(true, true, this);
    titleBar->setObjectName(QStringLiteral("titleBar"));
    titleBar->setStyleSheet(QStringLiteral("background: rgb(255, 255, 255); "));
    layout->addWidget(titleBar);
    titleBar->attachTo(windowAgent);

    auto *separator = new QFrame(this);
    separator->setFixedHeight(1);
    separator->setStyleSheet(QStringLiteral("background-color: rgb(230, 230, 230);"));
    separator->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(separator);
}

void QWKWidget::setTitle(const QString &title)
{
    if (titleBar)
        titleBar->setTitle(title);
}

void QWKWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    fitOnScreen(this);
}

void QWKWidget::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::WindowStateChange && titleBar)
        titleBar->setMaxState(isMaximized());
    QWidget::changeEvent(event);
}
