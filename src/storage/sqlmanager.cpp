#include "storage/sqlmanager.h"

#include "common/log.h"

SqlManager *sqlManager = nullptr;

SqlManager::SqlManager(const QString &databasePath, QObject *parent) : QObject(parent)
{
    sqlThread.setDatabasePath(databasePath);
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
