#pragma once

#include <QList>
#include <QThread>
#include <QVariantMap>

#include "item/itemdata.h"

// The database worker. It is moved onto itself, opens the SQLite file,
// creates missing tables, loads everything once, and then runs the writes
// that arrive as queued signals, strictly in their order.
class SqlThread : public QThread
{
    Q_OBJECT
public:
    explicit SqlThread(QObject *parent = nullptr);
    // Ends a running event loop and waits for it; the program itself never
    // stops the worker.
    ~SqlThread() override;

    // <folder>/vorlik.db; must be set before the thread starts.
    void setDatabasePath(const QString &path) { databasePath = path; }

signals:
    void loadTabDataSignal(QList<TabData> datas);
    void loadDbIconSignal(QList<IconData> icons);
    void loadDbDataSignal(QList<ItemData> items);

public slots:
    void onInsert(ItemData itemData);
    void onUpdateActiveTime(uint hashValue, qulonglong newActiveTime);
    void onUpdateCreateActiveTime(uint hashValue, qulonglong newCreateTime, qulonglong newActiveTime);
    void onUpdateDataMap(uint hashValue, QVariantMap dataMap);
    void onUpdateDataMapAndTime(uint hashValue, QVariantMap dataMap, qulonglong newActiveTime);
    void onDeleteItem(uint hashValue);
    void onDeleteAllItems();
    void onInsertIcon(uint iconHashValue, QString path, QByteArray icon);
    void onInsertTabData(uint tabId, QString tabName, bool autoDelete);
    void onDeleteTab(uint tabId);

protected:
    void run() override;

private:
    bool initDb();
    void loadTabData();
    void loadIconData();
    void loadDbData();

    QString databasePath;
    // Whether this worker added the default connection (and so removes it).
    bool addedConnection = false;
};
