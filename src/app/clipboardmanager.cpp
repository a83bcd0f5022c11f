#include "app/clipboardmanager.h"

#include <QTimer>
#include <QWidget>

#include "capture/clipboardwriter.h"
#include "common/datadirectory.h"
#include "common/log.h"
#include "common/processflags.h"
#include "common/setting.h"
#include "platform/processinfo.h"
#include "window/mainwindow.h"

ClipBoardManager *clipBoardManager = nullptr;

ClipBoardManager::ClipBoardManager(QCoreApplication *application) : App(application)
{
    // The main window hangs off a never-shown parent so that it gets no
    // entry of its own in the task bar.
    windowParent = new QWidget();
    writer = new ClipboardWriter(dataDirectory() + QStringLiteral("/temp"), this);
    mainWnd = new MainWindow(windowParent, writer);

    const bool parentAutoStart = Setting::instance().isParentAutoStart();
    const bool elevated = platform::isProcessElevated();
    LOG_INFO(QStringLiteral("isautostart %1 isschtask %2 parent isAutoStart %3 isAdmin %4")
                 .arg(QString::number(isAutoStart), QString::number(isSchTask),
                      QString::number(parentAutoStart), QString::number(elevated)));

    if (shouldShowAtStart(elevated, isSchTask, isAutoStart, parentAutoStart))
        mainWnd->delayShow();

    // The last foreign window in front is where a paste goes.
    auto *activeWndTimer = new QTimer(this);
    connect(activeWndTimer, &QTimer::timeout, writer, &ClipboardWriter::trackActiveWnd);
    activeWndTimer->start(100);
}

ClipBoardManager::~ClipBoardManager()
{
    // Widgets, and the objects that hang off this one, must go before App's
    // destructor deletes the application; QObject's own clean-up runs later.
    delete windowParent;
    windowParent = nullptr;
    mainWnd = nullptr;
    const QObjectList owned = children();
    qDeleteAll(owned);
    writer = nullptr;
}

void ClipBoardManager::releaseBeforeQuit()
{
    // No dead icon may stay in the notification area.
    if (mainWnd)
        mainWnd->deleteTray();
}

bool ClipBoardManager::shouldShowAtStart(bool elevated, bool schTask, bool autoStart, bool parentAutoStart)
{
    if (!elevated)
        return !autoStart;
    if (!schTask)
        return true;
    // The scheduled task passes no "--AutoStart"; the run that handed over
    // left its own in the setting.
    return !parentAutoStart;
}
