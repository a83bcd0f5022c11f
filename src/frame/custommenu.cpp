#include "frame/custommenu.h"

#include <QColor>

#include "frame/customgraphicsdropshadoweffect.h"
#include "platform/compositing.h"

CustomMenu::CustomMenu(const QString &title, int iconWidth, int iconHeight, QWidget *parent)
    : QMenu(title, parent)
{
    Q_UNUSED(iconWidth)
    Q_UNUSED(iconHeight)
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    if (!platform::isCompositingActive()) {
        // Nothing would blend the shadow's margin with what lies below, so
        // it would show black: a plain square menu with a thin edge instead.
        setStyleSheet(QStringLiteral(
            "QMenu { margin: 0px; border-radius: 0px; border: 1px solid rgb(200, 200, 200); }"));
        return;
    }
    setAttribute(Qt::WA_TranslucentBackground);

    auto *shadow = new CustomGraphicsDropShadowEffect(this);
    shadow->setOffset(0, 0);
    shadow->setColor(QColor(QStringLiteral("#333333")));
    shadow->setBlurRadius(10.0);
    setGraphicsEffect(shadow);
}
