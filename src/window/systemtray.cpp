#include "window/systemtray.h"

#include <QCoreApplication>
#include <QCursor>
#include <QIcon>

#include "common/log.h"
#include "frame/custommenu.h"
#include "window/mainwindow.h"

SystemTray::SystemTray(MainWindow *parent) : QSystemTrayIcon(parent)
{
    setIcon(QIcon(QStringLiteral(":/images/icons/vorlik.ico")));
    connect(this, &QSystemTrayIcon::activated, this, &SystemTray::onIconActivated);
}

void SystemTray::onIconActivated(QSystemTrayIcon::ActivationReason reason)
{
    switch (reason) {
    case QSystemTrayIcon::Trigger:
    case QSystemTrayIcon::DoubleClick:
        LOG_INFO(QStringLiteral("active main window reason %1").arg(int(reason)));
        if (auto *window = qobject_cast<MainWindow *>(parent()))
            window->showMainWnd();
        break;
    case QSystemTrayIcon::Context:
        showContextMenu();
        break;
    default:
        break;
    }
}

void SystemTray::showContextMenu()
{
    // Built anew at each click rather than installed with setContextMenu, so
    // that the menu has the program's own frameless look.
    CustomMenu menu(QString(), 20, 20);
    QAction *quitAction = menu.addAction(tr("退出"));
    // Direct: quit must run while the menu's own loop is still up, not be
    // queued behind it.
    connect(
        quitAction, &QAction::triggered, this, [] { QCoreApplication::quit(); }, Qt::DirectConnection);
    menu.exec(QCursor::pos());
}
