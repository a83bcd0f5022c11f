#include <memory>

#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>

#include "common/log.h"
#include "common/mime.h"
#include "item/itemcodec.h"
#include "storage/sqlmanager.h"
#include "support/tempappfolder.h"

namespace {
// The database front on one file; the load results are taken here, queued as in the program.
struct Database : QObject
{
    explicit Database(const QString &path) : manager(path)
    {
        take(&SqlThread::loadTabDataSignal, tabs, "tabs");
        take(&SqlThread::loadDbIconSignal, icons, "icons");
        take(&SqlThread::loadDbDataSignal, items, "items");
        manager.initThread();
    }
    template <typename T> void take(void (SqlThread::*signal)(QList<T>), QList<T> &target, const char *name)
    {
        connect(
            manager.worker(), signal, this,
            [this, &target, name](QList<T> list) { target = list, order << name; }, Qt::QueuedConnection);
    }
    // Writes are never answered. A marker queued behind them, and from there
    // back to this thread behind the load results, shows that all have arrived.
    void flush()
    {
        auto done = std::make_shared<bool>(false);
        const auto back = [done] { QTimer::singleShot(0, qApp, [done] { *done = true; }); };
        QMetaObject::invokeMethod(manager.worker(), back, Qt::QueuedConnection);
        QTRY_VERIFY(*done);
    }

    QList<TabData> tabs;
    QList<IconData> icons;
    QList<ItemData> items;
    QStringList order;
    SqlManager manager; // last, so that its thread ends first
};

const QByteArray kRedPng = QByteArray::fromBase64( // 2x2
    "iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAIAAAD91JpzAAAAEElEQVR4nGP4z8AARAwQCgAf7gP9i18U1AAAAABJRU5ErkJggg==");

QByteArray logText()
{
    QFile file(logFilePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

ItemData textItem(uint hashValue, const QByteArray &text)
{
    ItemData item;
    item.hashValue = hashValue;
    item.iconHashValue = hashValue ^ 0x5a5a;
    item.itemType = ItemTypeText;
    item.createTime = 1700000000000ULL + hashValue;
    item.lastActiveTime = 1700000000500ULL + hashValue;
    item.dataMap = {{MIME_TEXT, text}};
    return item;
}
} // namespace

class TestSqlThread : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void firstStartThenWritesInOrder();
    void unopenableFileEndsThread();
    void existingFileLoadsWhatIsReadable();

private:
    QString dbPath() const { return folder->filePath("vorlik.db"); }
    QVariantList sql(const QString &statement, const QVariantList &values = {});

    std::unique_ptr<TempAppFolder> folder;
};

void TestSqlThread::init()
{
    QStandardPaths::setTestModeEnabled(true);
    folder = std::make_unique<TempAppFolder>();
    QVERIFY(folder->isValid());
    initLog(LogDebug, folder->path());
}

// Runs a statement as an outsider would; gives the first column of the result, or the error.
QVariantList TestSqlThread::sql(const QString &statement, const QVariantList &values)
{
    if (!QSqlDatabase::contains(dbPath()))
        QSqlDatabase::addDatabase("QSQLITE", dbPath()).setDatabaseName(dbPath());
    QSqlQuery query(QSqlDatabase::database(dbPath()));
    query.prepare(statement);
    for (const QVariant &value : values)
        query.addBindValue(value);
    QVariantList column;
    if (!query.exec())
        column << query.lastError().text();
    while (query.next())
        column << query.value(0);
    return column;
}

void TestSqlThread::unopenableFileEndsThread()
{
    // A plain file stands where the folder should be.
    QVERIFY(QFile(folder->filePath("blocker")).open(QIODevice::WriteOnly));
    Database db(folder->filePath("blocker/vorlik.db"));
    QTRY_VERIFY(db.manager.worker()->isFinished());
    QCoreApplication::processEvents();
    QVERIFY(db.order.isEmpty() && logText().contains("open database fail "));
    QVERIFY(!logText().contains("sql thread finish"));
}

void TestSqlThread::firstStartThenWritesInOrder()
{
    const uint big = 0xFFFFFFF0u; // beyond the signed 32-bit range
    {
        Database db(dbPath());
        QCOMPARE(db.manager.worker()->objectName(), "sql ");
        // Emitted at once: they queue behind the load and run one by one, in order.
        emit db.manager.insertSignal(textItem(big, "v1"));
        emit db.manager.updateActiveTimeSignal(big, 5000);
        emit db.manager.updateCreateActiveTimeSignal(big, 6000, 6001);
        emit db.manager.updateDataMapSignal(big, textItem(0, "v2").dataMap);
        emit db.manager.updateDataMapAndTimeSignal(big, textItem(0, "v3").dataMap, 7000);
        emit db.manager.insertSignal(textItem(big, "duplicate"));
        emit db.manager.insertSignal(textItem(11, "gone"));
        emit db.manager.deleteItemSignal(11);
        emit db.manager.deleteItemSignal(12345); // no such row: succeeds quietly
        emit db.manager.insertIconSignal(5, "/a", kRedPng);
        emit db.manager.insertIconSignal(5, "/b", "not kept");
        emit db.manager.insertTabDataSignal(30, "temp", true);
        emit db.manager.insertTabDataSignal(31, "kept", true);
        emit db.manager.insertTabDataSignal(31, "renamed", false); // an edit replaces the row
        emit db.manager.deleteTabSignal(30);
        db.flush();
        // A first start loads three empty lists, in this order.
        QCOMPARE(db.order, (QStringList{"tabs", "icons", "items"}));
        QVERIFY(db.tabs.isEmpty() && db.icons.isEmpty() && db.items.isEmpty());
    }
    // The two duplicate inserts, and nothing else, failed.
    const QByteArray log = logText();
    QCOMPARE(log.count("fail to"), 2);
    QVERIFY(log.contains("fail to insert data ") && log.contains("fail to insert icon data "));
    QVERIFY(log.contains(QString(" hashValue %1\n").arg(big).toUtf8()) && log.contains("sql thread finish"));

    Database db(dbPath());
    QTRY_COMPARE(db.order.size(), 3);
    ItemData edited = textItem(big, "v3");
    edited.createTime = 6000;
    edited.lastActiveTime = 7000;
    QCOMPARE(db.items, QList<ItemData>{edited});
    QVERIFY(db.icons.size() == 1 && db.icons[0].iconHashValue == 5 && db.icons[0].path == "/a");
    QCOMPARE(db.icons[0].pixmap.toImage().pixelColor(1, 1), QColor(Qt::red));
    QVERIFY(db.tabs.size() == 1 && db.tabs[0].tabId == 31 && db.tabs[0].tabName == "renamed" &&
            !db.tabs[0].autoDelete);

    // Clearing the history leaves icons and tabs alone.
    emit db.manager.deleteAllItemsSignal();
    emit db.manager.insertSignal(textItem(12, "after"));
    db.flush();
    QCOMPARE(sql("SELECT hashValue FROM clipboard_history"), QVariantList{12});
    QCOMPARE(sql("SELECT (SELECT count(*) FROM icon_table) || (SELECT count(*) FROM tab_data_table)"),
             QVariantList{"11"});
}

void TestSqlThread::existingFileLoadsWhatIsReadable()
{
    // An older shape with an extra column, a broken icon, and no tab table.
    ItemData old = textItem(4000000000u, "old");
    const QList<OCRResult> ocr = {{QPolygon({QPoint(1, 2), QPoint(30, 9)}), "你好"}};
    old.dataMap.insert(MIME_OCR_RESULT, serializeOcrResults(ocr));
    const QByteArray ids = serializeCustomIds({20, 21, 22});
    const QVariantMap truncatedIds = {{MIME_TEXT, QByteArray("cut")}, {MIME_CUSTOM_ID, ids.chopped(2)}};
    for (const char *statement :
         {"CREATE TABLE clipboard_history (hashValue INTEGER PRIMARY KEY, iconHashValue INT, itemType INT, "
          "createTime INT, lastActiveTime INT, content BLOB, note TEXT)",
          "CREATE TABLE icon_table (iconHashValue INTEGER PRIMARY KEY, path TEXT, icon BLOB)",
          "INSERT INTO icon_table VALUES(10, '/usr/bin/broken', x'00ff')"})
        QCOMPARE(sql(statement), QVariantList());
    for (const QVariantList &row : QList<QVariantList>{
             {old.hashValue, old.iconHashValue, old.itemType, old.createTime, old.lastActiveTime,
              serializeDataMap(old.dataMap)},
             {1, 0, 4, 1, 2, serializeDataMap(truncatedIds)},
             {2, 0, 4, 1, 2, serializeDataMap({{MIME_CUSTOM_ID, ids}})},
             {3, 0, 4, 1, 2, serializeDataMap({{MIME_TEXT, QByteArray("plain")}}).chopped(1)}})
        QCOMPARE(sql("INSERT INTO clipboard_history VALUES(?, ?, ?, ?, ?, ?, 'x')", row), QVariantList());
    const QVariantList schemaBefore = sql("SELECT sql FROM sqlite_master ORDER BY name");

    Database db(dbPath());
    QTRY_COMPARE(db.order.size(), 3);
    // The missing table is added; the others stay exactly as they were.
    QVariantList schemaAfter = sql("SELECT sql FROM sqlite_master ORDER BY name");
    QVERIFY(schemaAfter.size() == 3 && schemaAfter.takeLast().toString().startsWith("CREATE TABLE tab_data"));
    QCOMPARE(schemaAfter, schemaBefore);
    // Rows come in key order. Loading also reads the text recognition results out of the map.
    QCOMPARE(db.items.size(), 4);
    old.ocrResults = ocr;
    QVERIFY(db.items[3] == old);
    // Damaged blobs load with what is readable, and the log names them.
    QVERIFY(db.items[0].customIds.isEmpty());
    QCOMPARE(db.items[0].dataMap, truncatedIds);
    QCOMPARE(db.items[1].customIds, (QSet<uint>{20, 21, 22}));
    QVERIFY(db.items[2].dataMap.isEmpty());
    QVERIFY(db.icons.size() == 1 && db.icons[0].pixmap.isNull() && db.icons[0].path == "/usr/bin/broken");
    const QByteArray log = logText();
    for (const char *damaged : {"hashValue 1 ", "hashValue 3 ", "hashValue 10 "})
        QVERIFY2(log.contains(damaged), damaged);

    emit db.manager.insertTabDataSignal(20, "work", false);
    db.flush();
    QCOMPARE(sql("SELECT tabName FROM tab_data_table"), QVariantList{"work"});
}

QTEST_MAIN(TestSqlThread)
#include "tst_sqlthread.moc"
