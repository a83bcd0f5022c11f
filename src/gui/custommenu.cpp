#include "gui/custommenu.h"

#include <QColor>

#include "gui/customgraphicsdropshadoweffect.h"

CustomMenu::CustomMenu(const QString &title, int iconWidth, int iconHeight, QWidget *parent)
    : QMenu(title, parent)
{
    Q_UNUSED(iconWidth)
    Q_UNUSED(iconHeight)
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);

    auto *shadow = new CustomGraphicsDropShadowEffect(this);
    shadow->setOffset(0, 0);
    shadow->setColor(QColor(QStringLiteral("#333333")));
    shadow->setBlurRadius(10.0);
    setGraphicsEffect(shadow);
}
