#include "app/sqlmanager.h"

#include "common/log.h"
#include "gui/mainwindow.h"
#include "gui/tabwidget.h"
#include "item/clipboardmodel.h"

SqlManager *sqlManager = nullptr;

SqlManager::SqlManager(const QString &databasePath, QObject *parent) : QObject(parent)
{
    sqlThread.setDatabasePath(databasePath);
}

void SqlManager::attach(MainWindow *mainWindow)
{
    ClipboardModel *model = mainWindow->clipboardModel();

    // Queued: the results are built on the database thread and must be
    // handled on the GUI thread, in the order tabs, icons, items.
    connect(&sqlThread, &SqlThread::loadTabDataSignal, mainWindow, &MainWindow::onLoadTabData,
            Qt::QueuedConnection);
    connect(&sqlThread, &SqlThread::loadDbIconSignal, model, &ClipboardModel::onLoadDbIcon,
            Qt::QueuedConnection);
    connect(&sqlThread, &SqlThread::loadDbDataSignal, mainWindow, &MainWindow::onLoadDbDaba,
            Qt::QueuedConnection);

    // The model only announces its changes; relaying them through this
    // object keeps one queue, and so one order, for every write.
    connect(model, &ClipboardModel::insertSignal, this, &SqlManager::insertSignal);
    connect(model, &ClipboardModel::updateActiveTimeSignal, this, &SqlManager::updateActiveTimeSignal);
    connect(model, &ClipboardModel::updateCreateActiveTimeSignal, this,
            &SqlManager::updateCreateActiveTimeSignal);
    connect(model, &ClipboardModel::updateDataMapSignal, this, &SqlManager::updateDataMapSignal);
    connect(model, &ClipboardModel::updateDataMapAndTimeSignal, this,
            &SqlManager::updateDataMapAndTimeSignal);
    connect(model, &ClipboardModel::deleteItemSignal, this, &SqlManager::deleteItemSignal);
    connect(model, &ClipboardModel::deleteAllItemsSignal, this, &SqlManager::deleteAllItemsSignal);
    connect(model, &ClipboardModel::insertIconSignal, this, &SqlManager::insertIconSignal);
    connect(mainWindow->tabWidget(), &TabWidget::insertTabDataSignal, this, &SqlManager::insertTabDataSignal);
    connect(mainWindow->tabWidget(), &TabWidget::deleteTabSignal, this, &SqlManager::deleteTabSignal);
}

bool SqlManager::initThread()
{
    // The worker runs once per process; a second call must not add a
    // second set of write connections.
    if (sqlThread.isRunning() || sqlThread.isFinished())
        return true;

    LOG_INFO(QStringLiteral("init thread"));
    sqlThread.setObjectName(QStringLiteral("sql "));
    sqlThread.moveToThread(&sqlThread);

    // Queued: every statement runs on the worker's thread, one after the
    // other in the order of emission, and the GUI thread never waits.
    connect(this, &SqlManager::insertSignal, &sqlThread, &SqlThread::onInsert, Qt::QueuedConnection);
    connect(this, &SqlManager::updateActiveTimeSignal, &sqlThread, &SqlThread::onUpdateActiveTime,
            Qt::QueuedConnection);
    connect(this, &SqlManager::updateCreateActiveTimeSignal, &sqlThread, &SqlThread::onUpdateCreateActiveTime,
            Qt::QueuedConnection);
    connect(this, &SqlManager::updateDataMapSignal, &sqlThread, &SqlThread::onUpdateDataMap,
            Qt::QueuedConnection);
    connect(this, &SqlManager::updateDataMapAndTimeSignal, &sqlThread, &SqlThread::onUpdateDataMapAndTime,
            Qt::QueuedConnection);
    connect(this, &SqlManager::deleteItemSignal, &sqlThread, &SqlThread::onDeleteItem, Qt::QueuedConnection);
    connect(this, &SqlManager::deleteAllItemsSignal, &sqlThread, &SqlThread::onDeleteAllItems,
            Qt::QueuedConnection);
    connect(this, &SqlManager::insertIconSignal, &sqlThread, &SqlThread::onInsertIcon, Qt::QueuedConnection);
    connect(this, &SqlManager::insertTabDataSignal, &sqlThread, &SqlThread::onInsertTabData,
            Qt::QueuedConnection);
    connect(this, &SqlManager::deleteTabSignal, &sqlThread, &SqlThread::onDeleteTab, Qt::QueuedConnection);

    sqlThread.start(QThread::InheritPriority);
    return true;
}
