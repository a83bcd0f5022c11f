#include "window/tabbar.h"

#include <QAbstractItemView>
#include <QKeyEvent>
#include <QMouseEvent>

#include "frame/custommenu.h"
#include "item/itemdata.h"

TabBar::TabBar(QWidget *parent) : QTabBar(parent)
{
    setFocusPolicy(Qt::NoFocus);
    setElideMode(Qt::ElideRight);
    setUsesScrollButtons(false);
}

bool TabBar::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress || !qobject_cast<QAbstractItemView *>(watched))
        return false;
    auto *keyEvent = static_cast<QKeyEvent *>(event);
    if (keyEvent->key() != Qt::Key_Left && keyEvent->key() != Qt::Key_Right)
        return false;
    // The list would move its selection; these two keys belong to the tabs.
    QTabBar::keyPressEvent(keyEvent);
    return true;
}

void TabBar::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::RightButton) {
        const int index = tabAt(event->position().toPoint());
        if (index != -1)
            showTabMenu(index, event->globalPosition().toPoint());
    }
    QTabBar::mousePressEvent(event);
}

void TabBar::showTabMenu(int index, const QPoint &globalPos)
{
    // Built-in tabs can be neither renamed nor deleted.
    if (tabData(index).value<TabData>().tabId < 20)
        return;
    CustomMenu menu(QString(), 20, 20, this);
    const uint tabIndex = static_cast<uint>(index);
    connect(menu.addAction(QStringLiteral("编辑")), &QAction::triggered, this,
            [this, tabIndex] { emit editTabSignal(tabIndex); });
    connect(menu.addAction(QStringLiteral("删除")), &QAction::triggered, this,
            [this, tabIndex] { emit deleteTabSignal(tabIndex); });
    menu.exec(globalPos);
}
