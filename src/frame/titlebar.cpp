#include "frame/titlebar.h"

#include <QApplication>
#include <QFile>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QStyle>
#include <QToolButton>
#include <QVariant>

#include "frame/widgetwindowagent.h"

TitleBar::TitleBar(bool hasMin, bool hasMax, QWidget *parent)
    : QWidget(parent), hasMinButton(hasMin), hasMaxButton(hasMax)
{
    setFixedHeight(31);
    setAttribute(Qt::WA_StyledBackground);
    setWindowFlag(Qt::FramelessWindowHint);

    auto *layout = new QHBoxLayout(this);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addStretch(1);

    // The buttons take no focus: made before the window's content, they
    // would be first in its focus chain, and a dialog would open with the
    // focus on close, where Space closes it instead of typing.
    if (hasMinButton) {
        minBtn = new QToolButton(this);
        minBtn->setObjectName(QStringLiteral("minToolButton"));
        connect(minBtn, &QToolButton::clicked, this, &TitleBar::onMinButtonClicked);
        minBtn->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(minBtn);
    }
    if (hasMaxButton) {
        maxBtn = new QToolButton(this);
        maxBtn->setObjectName(QStringLiteral("maxToolButton"));
        maxBtn->setProperty("MaxState", false);
        connect(maxBtn, &QToolButton::clicked, this, [this] {
            QWidget *w = window();
            if (w->isMaximized())
                w->showNormal();
            else
                w->showMaximized();
        });
        maxBtn->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(maxBtn);
    }
    closeBtn = new QToolButton(this);
    closeBtn->setObjectName(QStringLiteral("closeToolButton"));
    closeBtn->setFocusPolicy(Qt::NoFocus);
    connect(closeBtn, &QToolButton::clicked, this, [this] { window()->close(); });
    layout->addWidget(closeBtn);
}

void TitleBar::setIcon(const QIcon &icon)
{
    auto *box = qobject_cast<QHBoxLayout *>(layout());
    if (!box)
        return;
    auto *iconLabel = new QLabel(this);
    iconLabel->setPixmap(icon.pixmap(16, 16));
    box->insertSpacing(0, 8);
    box->insertWidget(1, iconLabel);
    hasIcon = true;
}

void TitleBar::setTitle(const QString &title)
{
    auto *box = qobject_cast<QHBoxLayout *>(layout());
    if (!box)
        return;
    const int p = hasIcon ? 2 : 0;
    box->insertSpacing(p, 6);
    box->insertWidget(p + 1, new QLabel(title, this));
}

void TitleBar::onMinButtonClicked()
{
    // The program lives in the tray: minimising hides the window.
    window()->hide();
}

void TitleBar::setWidgetProperty(QWidget *w, const char *name, const QVariant &value)
{
    if (!w || w->property(name) == value)
        return;
    w->setProperty(name, value);
    w->style()->unpolish(w);
    w->style()->polish(w);
    w->update();
}

void TitleBar::loadStyleSheet(const QStringList &paths)
{
    QByteArray sheet;
    for (const QString &path : paths) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        sheet += file.readAll();
    }
    qApp->setStyleSheet(QString::fromUtf8(sheet));
}

void TitleBar::attachTo(QWK::WidgetWindowAgent *agent)
{
    agent->setTitleBar(this);
    const std::pair<QToolButton *, QWK::WidgetWindowAgent::SystemButton> buttons[] = {
        {minBtn, QWK::WidgetWindowAgent::Minimize},
        {maxBtn, QWK::WidgetWindowAgent::Maximize},
        {closeBtn, QWK::WidgetWindowAgent::Close},
    };
    for (const auto &[button, role] : buttons) {
        if (!button)
            continue;
        agent->setHitTestVisible(button, true);
        agent->setSystemButton(role, button);
    }
}

void TitleBar::setMaxState(bool maximized)
{
    if (maxBtn)
        setWidgetProperty(maxBtn, "MaxState", maximized);
}
