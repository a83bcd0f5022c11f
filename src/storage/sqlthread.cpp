#include "storage/sqlthread.h"

#include <initializer_list>
#include <utility>

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

#include "common/costtimer.h"
#include "common/log.h"
#include "common/mime.h"
#include "item/itemcodec.h"

namespace {
const QString kHistoryTable = QStringLiteral("clipboard_history");
const QString kIconTable = QStringLiteral("icon_table");
const QString kTabDataTable = QStringLiteral("tab_data_table");

// The statements are kept exactly as the schema was first written, blanks
// included, so that a database made by any build compares equal.
const QString kCreateHistoryTable =
    QStringLiteral("CREATE TABLE clipboard_history ("
                   "                                 hashValue INTEGER PRIMARY KEY NOT NULL,"
                   "                                  iconHashValue INTEGER NOT NULL,"
                   "                                  itemType INTEGER NOT NULL,"
                   "                                  createTime INTEGER NOT NULL,"
                   "                                  lastActiveTime INTEGER NOT NULL,"
                   "                                 content BLOB NOT NULL)");
const QString kCreateIconTable =
    QStringLiteral("CREATE TABLE icon_table ("
                   "                                 iconHashValue INTEGER PRIMARY KEY NOT NULL,"
                   "                                  path TEXT NOT NULL,"
                   "                                  icon BLOB NOT NULL)");
const QString kCreateTabDataTable =
    QStringLiteral("CREATE TABLE %1 ("
                   "                                    tabId INTEGER PRIMARY KEY NOT NULL,"
                   "                                     tabName TEXT NOT NULL,"
                   "                                     autoDelete INTEGER NOT NULL)");
const QString kInsertItem = QStringLiteral(
    "INSERT INTO clipboard_history (hashValue, iconHashValue, itemType, createTime, lastActiveTime, content) "
    "VALUES(:hashValue, :iconHashValue, :itemType, :createTime, :lastActiveTime, :content)");
const QString kUpdateActiveTime = QStringLiteral(
    "UPDATE clipboard_history SET lastActiveTime = :newActiveTime WHERE hashValue = :hashValue");
const QString kUpdateCreateActiveTime =
    QStringLiteral("UPDATE clipboard_history SET createTime = :newCreateTime, lastActiveTime = "
                   ":newActiveTime WHERE hashValue = :hashValue");
const QString kUpdateDataMap =
    QStringLiteral("UPDATE clipboard_history SET content = :content WHERE hashValue = :hashValue");
const QString kUpdateDataMapAndTime =
    QStringLiteral("UPDATE clipboard_history SET content = :content, lastActiveTime = :newActiveTime WHERE "
                   "hashValue = :hashValue");
const QString kDeleteItem = QStringLiteral("delete from clipboard_history where hashValue = :hashValue");
const QString kDeleteAllItems = QStringLiteral("delete from clipboard_history");
const QString kInsertIcon =
    QStringLiteral("INSERT INTO icon_table (iconHashValue, path, icon) VALUES(:iconHashValue, :path, :icon)");
const QString kReplaceTabData =
    QStringLiteral("REPLACE INTO %1 (tabId, tabName, autoDelete) VALUES(:tabId, :tabName, :autoDelete)");
const QString kDeleteTab = QStringLiteral("delete from %1 where tabId = :tabId");
const QString kSelectTabData = QStringLiteral("SELECT tabId, tabName, autoDelete from %1");
const QString kSelectIcons = QStringLiteral("SELECT  iconHashValue, path, icon FROM icon_table");
const QString kSelectItems = QStringLiteral(
    "SELECT  hashValue, iconHashValue, itemType, createTime, lastActiveTime, content FROM clipboard_history");

using Bindings = std::initializer_list<std::pair<const char *, QVariant>>;

// Prepares one statement on a fresh query of the thread's default connection,
// binds it by name and runs it. No statement is kept between calls.
bool execStatement(QSqlQuery &query, const QString &statement, Bindings bindings = {})
{
    if (!query.prepare(statement))
        return false;
    for (const auto &binding : bindings)
        query.bindValue(QString::fromLatin1(binding.first), binding.second);
    return query.exec();
}

QString errorText(const QSqlQuery &query)
{
    return query.lastError().text();
}
} // namespace

SqlThread::SqlThread(QObject *parent) : QThread(parent) {}

SqlThread::~SqlThread()
{
    // Only reached when the owner is torn down on purpose (tests, an orderly
    // end); writes still queued at that point are dropped, as at process end.
    if (isRunning()) {
        quit();
        wait();
    }
}

void SqlThread::run()
{
    if (initDb()) {
        loadTabData();
        loadIconData();
        loadDbData();
        exec();
        LOG_INFO(QStringLiteral("sql thread finish"));
    }
    // The connection belongs to this thread; release it so that another
    // worker in the same process can open its own default connection.
    if (addedConnection)
        QSqlDatabase::removeDatabase(QStringLiteral("qt_sql_default_connection"));
}

bool SqlThread::initDb()
{
    LOG_INFO(QStringLiteral("init database"));
    const QString connectionName = QStringLiteral("qt_sql_default_connection");
    QSqlDatabase db;
    if (QSqlDatabase::contains(connectionName)) {
        db = QSqlDatabase::database(connectionName, true);
    } else {
        db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
        db.setDatabaseName(databasePath);
        addedConnection = true;
    }

    LOG_INFO(QStringLiteral("open database"));
    if (!db.open()) {
        LOG_ERROR(QStringLiteral("open database fail %1").arg(db.lastError().text()));
        return false;
    }

    struct TableSchema
    {
        QString name;
        QString createStatement;
        QString failMessage;
    };
    const TableSchema schemas[] = {
        {kHistoryTable, kCreateHistoryTable, QStringLiteral("fail to create table %1")},
        {kIconTable, kCreateIconTable, QStringLiteral("fail to create icon table %1")},
        {kTabDataTable, kCreateTabDataTable.arg(kTabDataTable),
         QStringLiteral("fail to create tab data table %1")},
    };
    for (const TableSchema &schema : schemas) {
        // An existing table is taken as it is: no column check, no migration.
        if (db.tables(QSql::Tables).contains(schema.name, Qt::CaseSensitive))
            continue;
        QSqlQuery query;
        if (!execStatement(query, schema.createStatement)) {
            LOG_ERROR(schema.failMessage.arg(errorText(query)));
            return false;
        }
    }
    return true;
}

void SqlThread::loadTabData()
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("load tab data"));
    QList<TabData> datas;
    QSqlQuery query;
    query.setForwardOnly(true);
    if (query.exec(kSelectTabData.arg(kTabDataTable))) {
        while (query.next()) {
            TabData data;
            data.tabId = query.value(0).toUInt();
            data.tabName = query.value(1).toString();
            data.autoDelete = query.value(2).toUInt() != 0;
            datas.append(std::move(data));
        }
    }
    if (query.lastError().isValid())
        LOG_ERROR(QStringLiteral("fail to tab data table %1").arg(errorText(query)));
    emit loadTabDataSignal(datas);
}

void SqlThread::loadIconData()
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("load icon"));
    QList<IconData> icons;
    QSqlQuery query;
    query.setForwardOnly(true);
    if (query.exec(kSelectIcons)) {
        while (query.next()) {
            IconData icon;
            icon.iconHashValue = query.value(0).toUInt();
            icon.path = query.value(1).toString();
            // A blob that is no PNG leaves a null pixmap; the row keeps its hash and path.
            if (!icon.pixmap.loadFromData(query.value(2).toByteArray(), "PNG"))
                LOG_WARNING(QStringLiteral("icon of hashValue %1 is no PNG").arg(icon.iconHashValue));
            icons.append(std::move(icon));
        }
    }
    if (query.lastError().isValid())
        LOG_ERROR(QStringLiteral("fail to query icon table %1").arg(errorText(query)));
    LOG_INFO(QStringLiteral("total size %1").arg(icons.size()));
    emit loadDbIconSignal(icons);
}

void SqlThread::loadDbData()
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("load item"));
    QList<ItemData> items;
    QSqlQuery query;
    // Forward only: SQLite hands out each row once instead of caching the
    // whole history, images included, a second time.
    query.setForwardOnly(true);
    if (query.exec(kSelectItems)) {
        while (query.next()) {
            ItemData item;
            item.hashValue = query.value(0).toUInt();
            item.iconHashValue = query.value(1).toUInt();
            item.itemType = query.value(2).toUInt();
            item.createTime = query.value(3).toULongLong();
            item.lastActiveTime = query.value(4).toULongLong();
            if (!deserializeDataMap(query.value(5).toByteArray(), item.dataMap))
                LOG_WARNING(QStringLiteral("content of hashValue %1 is damaged, kept %2 entries")
                                .arg(item.hashValue)
                                .arg(item.dataMap.size()));

            const auto ocrEntry = item.dataMap.constFind(MIME_OCR_RESULT);
            if (ocrEntry != item.dataMap.constEnd())
                item.ocrResults = deserializeOcrResults(ocrEntry->toByteArray());
            const auto idEntry = item.dataMap.constFind(MIME_CUSTOM_ID);
            if (idEntry != item.dataMap.constEnd() &&
                !deserializeCustomIds(idEntry->toByteArray(), item.customIds))
                LOG_WARNING(QStringLiteral("tab ids of hashValue %1 are unreadable").arg(item.hashValue));
            items.append(std::move(item));
        }
    }
    if (query.lastError().isValid())
        LOG_ERROR(QStringLiteral("fail to query table %1").arg(errorText(query)));
    LOG_INFO(QStringLiteral("total size %1").arg(items.size()));
    emit loadDbDataSignal(items);
}

void SqlThread::onInsert(ItemData itemData)
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("sql insert"));
    QSqlQuery query;
    const bool ok = execStatement(query, kInsertItem,
                                  {{":hashValue", itemData.hashValue},
                                   {":iconHashValue", itemData.iconHashValue},
                                   {":itemType", itemData.itemType},
                                   {":createTime", itemData.createTime},
                                   {":lastActiveTime", itemData.lastActiveTime},
                                   {":content", serializeDataMap(itemData.dataMap)}});
    if (!ok)
        LOG_ERROR(QStringLiteral("fail to insert data %1 hashValue %2")
                      .arg(errorText(query), QString::number(itemData.hashValue)));
}

void SqlThread::onUpdateActiveTime(uint hashValue, qulonglong newActiveTime)
{
    QSqlQuery query;
    if (!execStatement(query, kUpdateActiveTime,
                       {{":hashValue", hashValue}, {":newActiveTime", newActiveTime}}))
        LOG_ERROR(QStringLiteral("fail to update data %1").arg(errorText(query)));
}

void SqlThread::onUpdateCreateActiveTime(uint hashValue, qulonglong newCreateTime, qulonglong newActiveTime)
{
    QSqlQuery query;
    if (!execStatement(query, kUpdateCreateActiveTime,
                       {{":hashValue", hashValue},
                        {":newCreateTime", newCreateTime},
                        {":newActiveTime", newActiveTime}}))
        LOG_ERROR(QStringLiteral("fail to update data %1").arg(errorText(query)));
}

void SqlThread::onUpdateDataMap(uint hashValue, QVariantMap dataMap)
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("update data map"));
    QSqlQuery query;
    if (!execStatement(query, kUpdateDataMap,
                       {{":hashValue", hashValue}, {":content", serializeDataMap(dataMap)}}))
        LOG_ERROR(QStringLiteral("fail to update data %1").arg(errorText(query)));
}

void SqlThread::onUpdateDataMapAndTime(uint hashValue, QVariantMap dataMap, qulonglong newActiveTime)
{
    QSqlQuery query;
    if (!execStatement(query, kUpdateDataMapAndTime,
                       {{":hashValue", hashValue},
                        {":content", serializeDataMap(dataMap)},
                        {":newActiveTime", newActiveTime}}))
        LOG_ERROR(QStringLiteral("fail to update data %1").arg(errorText(query)));
}

void SqlThread::onDeleteItem(uint hashValue)
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("delete item"));
    QSqlQuery query;
    if (!execStatement(query, kDeleteItem, {{":hashValue", hashValue}}))
        LOG_ERROR(QStringLiteral("fail to delete data %1").arg(errorText(query)));
}

void SqlThread::onDeleteAllItems()
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("delete all item"));
    QSqlQuery query;
    if (!execStatement(query, kDeleteAllItems))
        LOG_ERROR(QStringLiteral("fail to delete data %1").arg(errorText(query)));
}

void SqlThread::onInsertIcon(uint iconHashValue, QString path, QByteArray icon)
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("sql insert icon"));
    QSqlQuery query;
    if (!execStatement(query, kInsertIcon,
                       {{":iconHashValue", iconHashValue}, {":path", path}, {":icon", icon}}))
        LOG_ERROR(QStringLiteral("fail to insert icon data %1 hashValue %2")
                      .arg(errorText(query), QString::number(iconHashValue)));
}

void SqlThread::onInsertTabData(uint tabId, QString tabName, bool autoDelete)
{
    COST_TIMER_SCOPE(LogDebug, QStringLiteral("sql insert tab data"));
    QSqlQuery query;
    if (!execStatement(query, kReplaceTabData.arg(kTabDataTable),
                       {{":tabId", tabId}, {":tabName", tabName}, {":autoDelete", autoDelete}}))
        LOG_ERROR(QStringLiteral("fail to insert tab data %1").arg(errorText(query)));
}

void SqlThread::onDeleteTab(uint tabId)
{
    QSqlQuery query;
    if (!execStatement(query, kDeleteTab.arg(kTabDataTable), {{":tabId", tabId}}))
        LOG_ERROR(QStringLiteral("fail to delete data %1").arg(errorText(query)));
}
