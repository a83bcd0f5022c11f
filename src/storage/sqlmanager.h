#pragma once

#include <QObject>

#include "storage/sqlthread.h"

// Front of the database on the main thread: one signal per write, each
// queued to the worker thread. Nothing is ever answered. Who feeds the
// signals and who takes the load results is wired by the application.
class SqlManager : public QObject
{
    Q_OBJECT
public:
    explicit SqlManager(const QString &databasePath, QObject *parent = nullptr);

    // Names the worker "sql ", moves it onto itself, connects the ten write
    // signals (queued) and starts it. Always returns true.
    bool initThread();

    SqlThread *worker() { return &sqlThread; }

signals:
    void insertSignal(ItemData itemData);
    void updateActiveTimeSignal(uint hashValue, qulonglong newActiveTime);
    void updateCreateActiveTimeSignal(uint hashValue, qulonglong newCreateTime, qulonglong newActiveTime);
    void updateDataMapSignal(uint hashValue, QVariantMap dataMap);
    void updateDataMapAndTimeSignal(uint hashValue, QVariantMap dataMap, qulonglong newActiveTime);
    void deleteItemSignal(uint hashValue);
    void deleteAllItemsSignal();
    void insertIconSignal(uint iconHashValue, QString path, QByteArray icon);
    void insertTabDataSignal(uint tabId, QString tabName, bool autoDelete);
    void deleteTabSignal(uint tabId);

private:
    SqlThread sqlThread;
};

// Created once during start and never deleted.
extern SqlManager *sqlManager;
