#include <atomic>
#include <memory>

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "app/storagewiring.h"
#include "common/log.h"
#include "common/mime.h"
#include "item/itemcodec.h"
#include "storage/sqlmanager.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"

namespace {
// Collects the three load results on the test thread, queued as in the program.
struct LoadReceiver : QObject
{
    QList<TabData> tabs;
    QList<IconData> icons;
    QList<ItemData> items;
    QStringList order;

    template <typename T>
    void take(SqlThread *worker, void (SqlThread::*signal)(QList<T>), QList<T> &target, const char *name)
    {
        connect(
            worker, signal, this,
            [this, &target, name](QList<T> list) {
                target = list;
                order << name;
            },
            Qt::QueuedConnection);
    }
    void watch(SqlThread *worker)
    {
        take(worker, &SqlThread::loadTabDataSignal, tabs, "tabs");
        take(worker, &SqlThread::loadDbIconSignal, icons, "icons");
        take(worker, &SqlThread::loadDbDataSignal, items, "items");
    }
    ItemData item(uint hashValue) const
    {
        for (const ItemData &data : items)
            if (data.hashValue == hashValue)
                return data;
        return {};
    }
};

// Runs a statement on a connection of its own to the file, as an outsider
// would, and returns the first column of the result; `ok` says whether it ran.
QVariantList sql(const QString &path, const QString &statement, const QVariantList &values = {},
                 bool *ok = nullptr)
{
    if (!QSqlDatabase::contains(path))
        QSqlDatabase::addDatabase("QSQLITE", path).setDatabaseName(path);
    QSqlDatabase db = QSqlDatabase::database(path);
    QSqlQuery query(db);
    query.prepare(statement);
    for (const QVariant &value : values)
        query.addBindValue(value);
    const bool ran = query.exec();
    if (ok)
        *ok = ran;
    QVariantList column;
    while (query.next())
        column << query.value(0);
    return column;
}

QByteArray pngBytes(int size, Qt::GlobalColor color)
{
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

QVariantMap textMap(const QByteArray &text)
{
    return {{MIME_TEXT, text}};
}

ItemData makeItem(uint hashValue, uint itemType, const QVariantMap &map)
{
    ItemData item;
    item.hashValue = hashValue;
    item.iconHashValue = hashValue ^ 0x5a5a;
    item.itemType = itemType;
    item.createTime = 1700000000000ULL + hashValue;
    item.lastActiveTime = 1700000000500ULL + hashValue;
    item.dataMap = map;
    return item;
}

const QString kHistorySchema = QStringLiteral(
    "CREATE TABLE clipboard_history (hashValue INTEGER PRIMARY KEY NOT NULL, iconHashValue INTEGER NOT NULL, "
    "itemType INTEGER NOT NULL, createTime INTEGER NOT NULL, lastActiveTime INTEGER NOT NULL, content BLOB "
    "NOT NULL");
} // namespace

class TestSqlThread : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();

    void firstStartCreatesEverything();
    void existingTablesKeptMissingOneAdded();
    void startFailureEndsThread_data();
    void startFailureEndsThread();
    void writtenRecordsReload();
    void writesRunInEmissionOrder();
    void damagedBlobsLoadWhatIsReadable();
    void attachFeedsWindowAndRelaysModel();

private:
    std::unique_ptr<SqlManager> start(LoadReceiver &receiver, const QString &path = QString());
    void flush(SqlManager &manager);
    QByteArray logText() const;
    QString dbPath() const { return folder->filePath("vorlik.db"); }
    QVariantList sql(const QString &statement, const QVariantList &values = {})
    {
        return ::sql(dbPath(), statement, values);
    }
    QVariant sqlValue(const QString &statement) { return sql(statement).value(0); }
    bool sqlRuns(const QString &statement, const QVariantList &values = {})
    {
        bool ok = false;
        ::sql(dbPath(), statement, values, &ok);
        return ok;
    }

    std::unique_ptr<TempAppFolder> folder;
};

void TestSqlThread::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    registerMetaTypes();
}

void TestSqlThread::init()
{
    folder = std::make_unique<TempAppFolder>();
    QVERIFY(folder->isValid());
    initLog(LogDebug, folder->path());
}

std::unique_ptr<SqlManager> TestSqlThread::start(LoadReceiver &receiver, const QString &path)
{
    auto manager = std::make_unique<SqlManager>(path.isEmpty() ? dbPath() : path);
    receiver.watch(manager->worker());
    manager->initThread();
    return manager;
}

// Writes are never answered; a marker queued behind them shows they ran.
void TestSqlThread::flush(SqlManager &manager)
{
    auto done = std::make_shared<std::atomic_bool>(false);
    QMetaObject::invokeMethod(
        manager.worker(), [done] { *done = true; }, Qt::QueuedConnection);
    QTRY_VERIFY(done->load());
}

QByteArray TestSqlThread::logText() const
{
    QFile file(logFilePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestSqlThread::firstStartCreatesEverything()
{
    LoadReceiver receiver;
    auto manager = start(receiver);
    QCOMPARE(manager->worker()->objectName(), "sql ");
    QTRY_COMPARE(receiver.order, (QStringList{"tabs", "icons", "items"}));
    QVERIFY(receiver.tabs.isEmpty() && receiver.icons.isEmpty() && receiver.items.isEmpty());
    QVERIFY(manager->worker()->isRunning());

    const auto columns = [&](const char *table) {
        return sqlValue(QString("SELECT group_concat(name) FROM pragma_table_info('%1')").arg(table));
    };
    QCOMPARE(columns("clipboard_history"),
             "hashValue,iconHashValue,itemType,createTime,lastActiveTime,content");
    QCOMPARE(columns("icon_table"), "iconHashValue,path,icon");
    QCOMPARE(columns("tab_data_table"), "tabId,tabName,autoDelete");
    manager.reset();
    const QByteArray log = logText();
    QVERIFY(log.indexOf("init thread") < log.indexOf("init database"));
    QVERIFY(log.contains("sql thread finish"));
}

void TestSqlThread::existingTablesKeptMissingOneAdded()
{
    // An older shape with an extra column, and no icon table at all.
    QVERIFY(sqlRuns(kHistorySchema + ", note TEXT)"));
    QVERIFY(sqlRuns("CREATE TABLE tab_data_table (tabId INTEGER PRIMARY KEY, tabName TEXT, autoDelete INT)"));
    QVERIFY(sqlRuns("INSERT INTO clipboard_history VALUES(?, 9, 4, 1700000000000, 1700000000001, ?, 'x')",
                    {4000000000u, serializeDataMap(textMap("old"))}));
    QVERIFY(sqlRuns("INSERT INTO tab_data_table VALUES(20, 'work', 0)"));
    const QVariantList schemaBefore = sql("SELECT sql FROM sqlite_master ORDER BY name");

    LoadReceiver receiver;
    auto manager = start(receiver);
    QTRY_COMPARE(receiver.order.size(), 3);
    QVariantList schemaAfter = sql("SELECT sql FROM sqlite_master ORDER BY name");
    QCOMPARE(schemaAfter.size(), 3);
    QVERIFY(schemaAfter.takeAt(1).toString().startsWith("CREATE TABLE icon_table"));
    QCOMPARE(schemaAfter, schemaBefore);

    QCOMPARE(receiver.tabs.size(), 1);
    QVERIFY(receiver.tabs[0].tabId == 20 && receiver.tabs[0].tabName == "work" &&
            !receiver.tabs[0].autoDelete);
    ItemData expected = makeItem(4000000000u, ItemTypeText, textMap("old"));
    expected.iconHashValue = 9;
    expected.createTime = 1700000000000ULL;
    expected.lastActiveTime = 1700000000001ULL;
    QCOMPARE(receiver.items.size(), 1);
    QVERIFY(receiver.items[0] == expected);

    emit manager->insertIconSignal(11, "/opt/app", pngBytes(4, Qt::blue));
    flush(*manager);
    QCOMPARE(sqlValue("SELECT count(*) FROM icon_table"), 1);
}

void TestSqlThread::startFailureEndsThread_data()
{
    QTest::addColumn<QString>("prepare"); // empty: the folder is a plain file
    QTest::addColumn<QString>("logged");
    QTest::addColumn<QString>("tables");
    QTest::newRow("unopenable") << QString() << "open database fail " << QString();
    // A view is no table to the check, so creating the icon table collides with it.
    QTest::newRow("create fails") << "CREATE VIEW icon_table AS SELECT 1 AS iconHashValue"
                                  << "fail to create icon table "
                                  << "clipboard_history";
}

void TestSqlThread::startFailureEndsThread()
{
    QFETCH(QString, prepare);
    QFETCH(QString, logged);
    QFETCH(QString, tables);
    QString path = dbPath();
    if (prepare.isEmpty()) {
        QFile blocker(folder->filePath("blocker"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        path = blocker.fileName() + "/vorlik.db";
    } else {
        QVERIFY(sqlRuns(prepare));
    }

    LoadReceiver receiver;
    auto manager = start(receiver, path);
    QTRY_VERIFY(manager->worker()->isFinished());
    QVERIFY(logText().contains(logged.toUtf8()));
    QVERIFY(!logText().contains("sql thread finish"));
    if (!tables.isEmpty())
        QCOMPARE(sqlValue("SELECT group_concat(name) FROM sqlite_master WHERE type = 'table'"), tables);

    // Nothing is loaded, and later writes go nowhere.
    emit manager->insertSignal(makeItem(1, ItemTypeText, textMap("lost")));
    QCoreApplication::processEvents();
    QVERIFY(receiver.order.isEmpty());
}

void TestSqlThread::writtenRecordsReload()
{
    const QList<OCRResult> ocr = {
        {QPolygon({QPoint(1, 2), QPoint(30, 2), QPoint(30, 9), QPoint(1, 9)}), "你好"}};
    QList<ItemData> written = {
        makeItem(0xFFFFFFF0u, ItemTypeImage,
                 {{MIME_IMAGE_PNG, pngBytes(32, Qt::green)},
                  {MIME_OCR_RESULT, serializeOcrResults(ocr)},
                  {MIME_CUSTOM_ID, serializeCustomIds({20, 23})},
                  {MIME_REMARK, QByteArray("screenshot")},
                  {MIME_EXE_PATH, QByteArray("/usr/bin/shot")}}),
        makeItem(2, ItemTypeLink,
                 {{MIME_TEXT, QByteArray("https://example.org/")}, {MIME_WEB_TITLE, QByteArray("Ex")}}),
        makeItem(3, ItemTypeFile, {{MIME_URI_LIST, serializeUrls({QUrl::fromLocalFile("/tmp/a b.txt")})}}),
        makeItem(4, ItemTypeRichText,
                 {{MIME_TEXT, QByteArray("bold")}, {MIME_HTML, QByteArray("<b>bold</b>")}})};
    {
        LoadReceiver receiver;
        auto manager = start(receiver);
        for (const ItemData &item : written)
            emit manager->insertSignal(item);
        emit manager->insertIconSignal(77, "/usr/bin/shot", pngBytes(16, Qt::red));
        emit manager->insertTabDataSignal(20, "draft", true);
        emit manager->insertTabDataSignal(23, "keep", true);
        emit manager->insertTabDataSignal(20, "renamed", false); // an edit replaces the row
        flush(*manager);
    }
    QCOMPARE(sql("SELECT DISTINCT typeof(createTime) || typeof(lastActiveTime) || "
                 "typeof(content) FROM clipboard_history"),
             QVariantList{"integerintegerblob"});

    LoadReceiver receiver;
    auto manager = start(receiver);
    QTRY_COMPARE(receiver.order.size(), 3);
    // Loading also reads the text recognition results and the tabs out of the map.
    written[0].ocrResults = ocr;
    written[0].customIds = {20, 23};
    QCOMPARE(receiver.items.size(), written.size());
    for (const ItemData &expected : written)
        QVERIFY2(receiver.item(expected.hashValue) == expected,
                 qPrintable(QString::number(expected.hashValue)));

    QCOMPARE(receiver.icons.size(), 1);
    QVERIFY(receiver.icons[0].iconHashValue == 77 && receiver.icons[0].path == "/usr/bin/shot");
    QCOMPARE(receiver.icons[0].pixmap.toImage().pixelColor(3, 3), QColor(Qt::red));
    QCOMPARE(receiver.tabs.size(), 2);
    for (const TabData &tab : receiver.tabs) {
        QCOMPARE(tab.tabName, tab.tabId == 20 ? "renamed" : "keep");
        QCOMPARE(tab.autoDelete, tab.tabId == 23);
    }
}

void TestSqlThread::writesRunInEmissionOrder()
{
    LoadReceiver receiver;
    auto manager = start(receiver);
    // Emitted during the load: they wait for it, then run one by one in order.
    emit manager->insertSignal(makeItem(10, ItemTypeText, textMap("v1")));
    emit manager->updateActiveTimeSignal(10, 5000);
    emit manager->updateCreateActiveTimeSignal(10, 6000, 6001);
    emit manager->updateDataMapSignal(10, textMap("v2"));
    emit manager->updateDataMapAndTimeSignal(10, textMap("v3"), 7000);
    emit manager->insertSignal(makeItem(10, ItemTypeText, textMap("duplicate")));
    emit manager->insertSignal(makeItem(11, ItemTypeText, textMap("gone")));
    emit manager->deleteItemSignal(11);
    emit manager->deleteItemSignal(12345); // no such row: succeeds quietly
    emit manager->insertIconSignal(5, "/a", pngBytes(2, Qt::red));
    emit manager->insertIconSignal(5, "/b", pngBytes(2, Qt::blue));
    emit manager->insertTabDataSignal(30, "temp", true);
    emit manager->insertTabDataSignal(31, "kept", true);
    emit manager->deleteTabSignal(30);
    flush(*manager);
    QCOMPARE(receiver.order.size(), 3);
    QVERIFY(receiver.items.isEmpty());

    QCOMPARE(sql("SELECT hashValue || '/' || createTime || '/' || lastActiveTime FROM clipboard_history"),
             QVariantList{"10/6000/7000"});
    QVariantMap content;
    deserializeDataMap(sqlValue("SELECT content FROM clipboard_history").toByteArray(), content);
    QCOMPARE(content, textMap("v3"));
    QCOMPARE(sql("SELECT path FROM icon_table"), QVariantList{"/a"});
    QCOMPARE(sql("SELECT tabId FROM tab_data_table"), QVariantList{31});

    // The two duplicate inserts, and nothing else, failed.
    const QByteArray log = logText();
    QCOMPARE(log.count("fail to"), 2);
    QVERIFY(log.contains("fail to insert data ") && log.contains(" hashValue 10\n"));
    QVERIFY(log.contains("fail to insert icon data "));

    // Clearing the history leaves icons and tabs alone.
    emit manager->deleteAllItemsSignal();
    emit manager->insertSignal(makeItem(12, ItemTypeText, textMap("after")));
    flush(*manager);
    QCOMPARE(sql("SELECT hashValue FROM clipboard_history"), QVariantList{12});
    QCOMPARE(sqlValue("SELECT (SELECT count(*) FROM icon_table) || (SELECT count(*) FROM tab_data_table)"),
             "11");
}

void TestSqlThread::damagedBlobsLoadWhatIsReadable()
{
    const QByteArray ids = serializeCustomIds({20, 21, 22});
    const QVariantMap truncatedIds = {{MIME_TEXT, QByteArray("cut")}, {MIME_CUSTOM_ID, ids.chopped(2)}};
    const QByteArray content = serializeDataMap(textMap("plain"));
    QVERIFY(sqlRuns(kHistorySchema + ")"));
    QVERIFY(sqlRuns("CREATE TABLE icon_table (iconHashValue INTEGER PRIMARY KEY, path TEXT, icon BLOB)"));
    const QString insert = "INSERT INTO clipboard_history VALUES(?, 0, 4, 1, 2, ?)";
    QVERIFY(sqlRuns(insert, {1, serializeDataMap(truncatedIds)}));
    QVERIFY(sqlRuns(insert, {2, serializeDataMap({{MIME_CUSTOM_ID, ids}})}));
    QVERIFY(sqlRuns(insert, {3, content.chopped(1)}));
    QVERIFY(sqlRuns("INSERT INTO icon_table VALUES(10, '/usr/bin/broken', x'00ff')"));
    LoadReceiver receiver;
    auto manager = start(receiver);
    QTRY_COMPARE(receiver.order.size(), 3);
    QCOMPARE(receiver.items.size(), 3);
    QVERIFY(receiver.item(1).customIds.isEmpty());
    QCOMPARE(receiver.item(1).dataMap, truncatedIds);
    QCOMPARE(receiver.item(2).customIds, (QSet<uint>{20, 21, 22}));
    QVERIFY(receiver.item(3).dataMap.isEmpty());
    QCOMPARE(receiver.icons.size(), 1);
    QVERIFY(receiver.icons[0].pixmap.isNull() && receiver.icons[0].path == "/usr/bin/broken");

    const QByteArray log = logText();
    for (const char *damaged : {"hashValue 1 ", "hashValue 3 ", "hashValue 10 "})
        QVERIFY2(log.contains(damaged), damaged);
}

void TestSqlThread::attachFeedsWindowAndRelaysModel()
{
    {
        LoadReceiver receiver;
        auto manager = start(receiver);
        emit manager->insertIconSignal(66, "/bin/editor", pngBytes(6, Qt::red));
        emit manager->insertSignal(makeItem(1, ItemTypeText, textMap("stored")));
        flush(*manager);
    }
    MainWindow window;
    ClipboardModel *model = window.clipboardModel();
    SqlManager manager(dbPath());
    connectStorage(&manager, &window);
    QVERIFY(manager.initThread());
    QVERIFY(manager.initThread()); // a second call adds no second set of connections
    QTRY_COMPARE(model->rowCount(), 1);
    QCOMPARE(model->items().at(0).hashValue, 1u);
    QCOMPARE(model->getIcon(66).size(), QSize(6, 6));

    // The model's own announcements reach the database through the manager.
    model->addItem(makeItem(2, ItemTypeText, textMap("new")));
    model->removeItem(1);
    flush(manager);
    QCOMPARE(sql("SELECT hashValue FROM clipboard_history"), QVariantList{2});
    QCOMPARE(logText().count("fail to"), 0);
}

QTEST_MAIN(TestSqlThread)
#include "tst_sqlthread.moc"
