#include "app/metatypes.h"
#include "app/sqlmanager.h"
#include "common/log.h"
#include "common/mime.h"
#include "gui/mainwindow.h"
#include "item/itemcodec.h"

#include "support/tempappfolder.h"

#include <atomic>
#include <memory>

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>

namespace {
// Collects the three load results on the test thread, queued as in the program.
struct LoadReceiver : QObject
{
    QList<TabData> tabs;
    QList<IconData> icons;
    QList<ItemData> items;
    QStringList order;

    void watch(SqlThread *worker)
    {
        connect(
            worker, &SqlThread::loadTabDataSignal, this,
            [this](QList<TabData> datas) {
                tabs = datas;
                order << QStringLiteral("tabs");
            },
            Qt::QueuedConnection);
        connect(
            worker, &SqlThread::loadDbIconSignal, this,
            [this](QList<IconData> list) {
                icons = list;
                order << QStringLiteral("icons");
            },
            Qt::QueuedConnection);
        connect(
            worker, &SqlThread::loadDbDataSignal, this,
            [this](QList<ItemData> list) {
                items = list;
                order << QStringLiteral("items");
            },
            Qt::QueuedConnection);
    }

    const ItemData *item(uint hashValue) const
    {
        for (const ItemData &data : items)
            if (data.hashValue == hashValue)
                return &data;
        return nullptr;
    }
};

// Runs statements on a connection of its own, the way an outside reader would.
class DbProbe
{
public:
    explicit DbProbe(const QString &path) : name(QStringLiteral("probe-%1").arg(++counter))
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        db.open();
    }
    ~DbProbe()
    {
        QSqlDatabase::database(name, false).close();
        QSqlDatabase::removeDatabase(name);
    }

    bool exec(const QString &statement, const QVariantList &values = {})
    {
        QSqlQuery query(QSqlDatabase::database(name));
        query.prepare(statement);
        for (const QVariant &value : values)
            query.addBindValue(value);
        const bool ok = query.exec();
        if (!ok)
            qWarning() << statement << query.lastError().text();
        return ok;
    }
    QVariantList column(const QString &statement)
    {
        QSqlQuery query(QSqlDatabase::database(name));
        QVariantList values;
        if (query.exec(statement))
            while (query.next())
                values << query.value(0);
        return values;
    }
    int count(const QString &table)
    {
        return column(QStringLiteral("SELECT count(*) FROM ") + table).value(0).toInt();
    }
    QStringList tables() { return QSqlDatabase::database(name).tables(QSql::Tables); }

private:
    static int counter;
    QString name;
};
int DbProbe::counter = 0;

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

QVariantMap textMap(const QByteArray &text)
{
    return {{MIME_TEXT, text}};
}
} // namespace

class TestSqlThread : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void firstStartCreatesEverything();
    void existingTablesAreTakenAsTheyAre();
    void missingIconTableIsAdded();
    void unopenableDatabaseEndsThreadSilently();
    void writtenRecordsReload();
    void writesRunInEmissionOrder();
    void duplicateInsertKeepsFirstRow();
    void damagedTabIdsLoadEmpty();
    void clearAllKeepsIconsAndTabs();
    void attachFeedsWindowAndRelaysModel();

private:
    std::unique_ptr<SqlManager> start(LoadReceiver &receiver, const QString &path = QString());
    void flush(SqlManager &manager);
    QByteArray logText() const;
    QString dbPath() const { return folder->filePath(QStringLiteral("vorlik.db")); }

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

void TestSqlThread::cleanup()
{
    folder.reset();
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
    QCOMPARE(manager->worker()->objectName(), QStringLiteral("sql "));
    QTRY_COMPARE(receiver.order, (QStringList{"tabs", "icons", "items"}));
    QVERIFY(receiver.tabs.isEmpty() && receiver.icons.isEmpty() && receiver.items.isEmpty());
    QVERIFY(manager->worker()->isRunning());
    QVERIFY(QFile::exists(dbPath()));

    DbProbe probe(dbPath());
    QStringList tables = probe.tables();
    tables.sort();
    QCOMPARE(tables, (QStringList{"clipboard_history", "icon_table", "tab_data_table"}));
    QCOMPARE(
        probe.column("SELECT name FROM pragma_table_info('clipboard_history')"),
        (QVariantList{"hashValue", "iconHashValue", "itemType", "createTime", "lastActiveTime", "content"}));
    QCOMPARE(probe.column("SELECT name FROM pragma_table_info('icon_table')"),
             (QVariantList{"iconHashValue", "path", "icon"}));
    QCOMPARE(probe.column("SELECT name FROM pragma_table_info('tab_data_table')"),
             (QVariantList{"tabId", "tabName", "autoDelete"}));
    QVERIFY(logText().contains("init thread"));
    QVERIFY(logText().contains("init database"));
    manager.reset();
    QVERIFY(logText().contains("sql thread finish"));
}

void TestSqlThread::existingTablesAreTakenAsTheyAre()
{
    {
        DbProbe probe(dbPath());
        // Shapes of an older build, with an extra column: nothing may alter them.
        QVERIFY(probe.exec(
            "CREATE TABLE clipboard_history (hashValue INTEGER PRIMARY KEY NOT NULL, iconHashValue "
            "INTEGER NOT NULL, itemType INTEGER NOT NULL, createTime INTEGER NOT NULL, lastActiveTime "
            "INTEGER NOT NULL, content BLOB NOT NULL, note TEXT)"));
        QVERIFY(
            probe.exec("CREATE TABLE icon_table (iconHashValue INTEGER PRIMARY KEY NOT NULL, path TEXT NOT "
                       "NULL, icon BLOB NOT NULL)"));
        QVERIFY(
            probe.exec("CREATE TABLE tab_data_table (tabId INTEGER PRIMARY KEY NOT NULL, tabName TEXT NOT "
                       "NULL, autoDelete INTEGER NOT NULL)"));
        QVERIFY(probe.exec(
            "INSERT INTO clipboard_history VALUES(?, ?, ?, ?, ?, ?, 'x')",
            {4000000000u, 9, 4, 1700000000000LL, 1700000000001LL, serializeDataMap(textMap("old"))}));
        QVERIFY(probe.exec("INSERT INTO icon_table VALUES(9, '/usr/bin/editor', ?)", {pngBytes(8, Qt::red)}));
        QVERIFY(probe.exec("INSERT INTO icon_table VALUES(10, '/usr/bin/broken', x'00ff')"));
        QVERIFY(probe.exec("INSERT INTO tab_data_table VALUES(20, 'work', 0)"));
    }
    const QVariantList schemaBefore = DbProbe(dbPath()).column("SELECT sql FROM sqlite_master ORDER BY name");

    LoadReceiver receiver;
    auto manager = start(receiver);
    QTRY_COMPARE(receiver.order.size(), 3);
    QCOMPARE(DbProbe(dbPath()).column("SELECT sql FROM sqlite_master ORDER BY name"), schemaBefore);

    QCOMPARE(receiver.tabs.size(), 1);
    QCOMPARE(receiver.tabs[0].tabId, 20u);
    QCOMPARE(receiver.tabs[0].tabName, QStringLiteral("work"));
    QCOMPARE(receiver.tabs[0].autoDelete, false);
    // An icon blob that does not decode still loads, with a null pixmap and a log line.
    QCOMPARE(receiver.icons.size(), 2);
    for (const IconData &icon : receiver.icons)
        QCOMPARE(icon.pixmap.size(), icon.iconHashValue == 9 ? QSize(8, 8) : QSize(0, 0));
    QVERIFY(logText().contains("icon of hashValue 10 is no PNG"));
    QCOMPARE(receiver.items.size(), 1);
    const ItemData &item = receiver.items[0];
    QCOMPARE(item.hashValue, 4000000000u);
    QCOMPARE(item.itemType, 4u);
    QCOMPARE(item.lastActiveTime, 1700000000001ULL);
    QCOMPARE(item.dataMap, textMap("old"));
    QCOMPARE(item.dataSize(), 3);
}

void TestSqlThread::missingIconTableIsAdded()
{
    {
        DbProbe probe(dbPath());
        QVERIFY(probe.exec(
            "CREATE TABLE clipboard_history (hashValue INTEGER PRIMARY KEY NOT NULL, iconHashValue "
            "INTEGER NOT NULL, itemType INTEGER NOT NULL, createTime INTEGER NOT NULL, lastActiveTime "
            "INTEGER NOT NULL, content BLOB NOT NULL)"));
        QVERIFY(
            probe.exec("CREATE TABLE tab_data_table (tabId INTEGER PRIMARY KEY NOT NULL, tabName TEXT NOT "
                       "NULL, autoDelete INTEGER NOT NULL)"));
        QVERIFY(probe.exec("INSERT INTO clipboard_history VALUES(7, 0, 4, 1, 2, ?)",
                           {serializeDataMap(textMap("a"))}));
        QVERIFY(probe.exec("INSERT INTO tab_data_table VALUES(21, 'keep', 1)"));
    }
    LoadReceiver receiver;
    auto manager = start(receiver);
    QTRY_COMPARE(receiver.order.size(), 3);
    QCOMPARE(receiver.items.size(), 1);
    QCOMPARE(receiver.tabs.size(), 1);

    // The new table is usable at once.
    emit manager->insertIconSignal(11, QStringLiteral("/opt/app"), pngBytes(4, Qt::blue));
    flush(*manager);
    DbProbe probe(dbPath());
    QVERIFY(probe.tables().contains("icon_table"));
    QCOMPARE(probe.count("icon_table"), 1);
    QCOMPARE(probe.count("clipboard_history"), 1);
    QCOMPARE(probe.count("tab_data_table"), 1);
}

void TestSqlThread::unopenableDatabaseEndsThreadSilently()
{
    // A plain file where the folder should be: SQLite cannot create the database.
    const QString blocker = folder->filePath(QStringLiteral("blocker"));
    QFile file(blocker);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();

    LoadReceiver receiver;
    auto manager = start(receiver, blocker + QStringLiteral("/vorlik.db"));
    QTRY_VERIFY(manager->worker()->isFinished());
    QVERIFY(logText().contains("open database fail "));
    QVERIFY(!logText().contains("sql thread finish"));

    // Writes after the failure go nowhere, without harm.
    emit manager->insertSignal(makeItem(1, ItemTypeText, textMap("lost")));
    emit manager->deleteAllItemsSignal();
    QCoreApplication::processEvents();
    QVERIFY(receiver.order.isEmpty());
}

void TestSqlThread::writtenRecordsReload()
{
    const QList<OCRResult> ocr = {
        {QPolygon({QPoint(1, 2), QPoint(30, 2), QPoint(30, 9), QPoint(1, 9)}), "你好"},
        {QPolygon({QPoint(0, 0), QPoint(4, 4)}), "second"}};
    const QByteArray png = pngBytes(32, Qt::green);
    const QVariantMap imageMap = {{MIME_IMAGE_PNG, png},
                                  {MIME_OCR_RESULT, serializeOcrResults(ocr)},
                                  {MIME_CUSTOM_ID, serializeCustomIds({20, 23})},
                                  {MIME_REMARK, QByteArray("screenshot")},
                                  {MIME_EXE_PATH, QByteArray("/usr/bin/shot")}};
    const QVariantMap linkMap = {{MIME_TEXT, QByteArray("https://example.org/")},
                                 {MIME_WEB_TITLE, QByteArray("Example")}};
    const QVariantMap fileMap = {{MIME_URI_LIST, serializeUrls({QUrl::fromLocalFile("/tmp/a b.txt")})}};
    const QVariantMap richMap = {{MIME_TEXT, QByteArray("bold")}, {MIME_HTML, QByteArray("<b>bold</b>")}};
    const QList<ItemData> written = {makeItem(0xFFFFFFF0u, ItemTypeImage, imageMap),
                                     makeItem(2, ItemTypeLink, linkMap), makeItem(3, ItemTypeFile, fileMap),
                                     makeItem(4, ItemTypeRichText, richMap)};
    {
        LoadReceiver receiver;
        auto manager = start(receiver);
        QTRY_COMPARE(receiver.order.size(), 3);
        for (const ItemData &item : written)
            emit manager->insertSignal(item);
        emit manager->insertIconSignal(77, QStringLiteral("/usr/bin/shot"), pngBytes(16, Qt::red));
        emit manager->insertTabDataSignal(20, QStringLiteral("draft"), true);
        emit manager->insertTabDataSignal(23, QStringLiteral("keep"), false);
        emit manager->insertTabDataSignal(20, QStringLiteral("renamed"), false); // edit = replace
        flush(*manager);
    }
    {
        DbProbe probe(dbPath());
        QCOMPARE(
            probe.column("SELECT DISTINCT typeof(createTime) || typeof(lastActiveTime) || typeof(content) "
                         "FROM clipboard_history"),
            QVariantList{"integerintegerblob"});
    }

    LoadReceiver receiver;
    auto manager = start(receiver);
    QTRY_COMPARE(receiver.order, (QStringList{"tabs", "icons", "items"}));
    QCOMPARE(receiver.items.size(), written.size());
    for (const ItemData &expected : written) {
        const ItemData *loaded = receiver.item(expected.hashValue);
        QVERIFY2(loaded, qPrintable(QString::number(expected.hashValue)));
        QCOMPARE(loaded->iconHashValue, expected.iconHashValue);
        QCOMPARE(loaded->itemType, expected.itemType);
        QCOMPARE(loaded->createTime, expected.createTime);
        QCOMPARE(loaded->lastActiveTime, expected.lastActiveTime);
        QCOMPARE(loaded->dataMap, expected.dataMap);
    }
    const ItemData *image = receiver.item(0xFFFFFFF0u);
    QCOMPARE(image->ocrResults, ocr);
    QCOMPARE(image->customIds, (QSet<uint>{20, 23}));
    QVERIFY(receiver.item(2)->customIds.isEmpty() && receiver.item(2)->ocrResults.isEmpty());

    QCOMPARE(receiver.icons.size(), 1);
    QCOMPARE(receiver.icons[0].iconHashValue, 77u);
    QCOMPARE(receiver.icons[0].path, QStringLiteral("/usr/bin/shot"));
    QCOMPARE(receiver.icons[0].pixmap.toImage().pixelColor(3, 3), QColor(Qt::red));

    QCOMPARE(receiver.tabs.size(), 2);
    for (const TabData &tab : receiver.tabs) {
        QCOMPARE(tab.tabName, tab.tabId == 20 ? QStringLiteral("renamed") : QStringLiteral("keep"));
        QCOMPARE(tab.autoDelete, false);
    }
}

void TestSqlThread::writesRunInEmissionOrder()
{
    LoadReceiver receiver;
    auto manager = start(receiver);
    // Emitted before the load finished: they must wait for it, then run in order.
    emit manager->insertSignal(makeItem(10, ItemTypeText, textMap("v1")));
    emit manager->updateActiveTimeSignal(10, 5000);
    emit manager->updateCreateActiveTimeSignal(10, 6000, 6001);
    emit manager->updateDataMapSignal(10, textMap("v2"));
    emit manager->updateDataMapAndTimeSignal(10, textMap("v3"), 7000);
    emit manager->insertSignal(makeItem(11, ItemTypeText, textMap("gone")));
    emit manager->updateDataMapSignal(11, textMap("gone too"));
    emit manager->deleteItemSignal(11);
    emit manager->insertTabDataSignal(30, QStringLiteral("temp"), true);
    emit manager->deleteTabSignal(30);
    emit manager->deleteItemSignal(12345); // no such row: succeeds quietly
    flush(*manager);
    QTRY_COMPARE(receiver.order.size(), 3);
    QVERIFY(receiver.items.isEmpty());

    DbProbe probe(dbPath());
    QCOMPARE(probe.column("SELECT hashValue FROM clipboard_history"), QVariantList{10});
    QCOMPARE(probe.column("SELECT createTime FROM clipboard_history").value(0).toULongLong(), 6000ULL);
    QCOMPARE(probe.column("SELECT lastActiveTime FROM clipboard_history").value(0).toULongLong(), 7000ULL);
    QVariantMap stored;
    QVERIFY(deserializeDataMap(probe.column("SELECT content FROM clipboard_history").value(0).toByteArray(),
                               stored));
    QCOMPARE(stored, textMap("v3"));
    QCOMPARE(probe.count("tab_data_table"), 0);
    QVERIFY(!logText().contains("fail to"));
}

void TestSqlThread::duplicateInsertKeepsFirstRow()
{
    LoadReceiver receiver;
    auto manager = start(receiver);
    emit manager->insertSignal(makeItem(42, ItemTypeText, textMap("first")));
    emit manager->insertSignal(makeItem(42, ItemTypeText, textMap("second")));
    emit manager->insertIconSignal(5, QStringLiteral("/a"), pngBytes(2, Qt::red));
    emit manager->insertIconSignal(5, QStringLiteral("/b"), pngBytes(2, Qt::blue));
    flush(*manager);

    DbProbe probe(dbPath());
    QCOMPARE(probe.count("clipboard_history"), 1);
    QVariantMap stored;
    QVERIFY(deserializeDataMap(probe.column("SELECT content FROM clipboard_history").value(0).toByteArray(),
                               stored));
    QCOMPARE(stored, textMap("first"));
    QCOMPARE(probe.column("SELECT path FROM icon_table"), QVariantList{"/a"});

    const QByteArray log = logText();
    QVERIFY(log.contains("fail to insert data "));
    QVERIFY(log.contains(" hashValue 42"));
    QVERIFY(log.contains("fail to insert icon data "));
    QVERIFY(log.contains(" hashValue 5"));
}

void TestSqlThread::damagedTabIdsLoadEmpty()
{
    const QByteArray ids = serializeCustomIds({20, 21, 22});
    const QVariantMap truncated = {{MIME_TEXT, QByteArray("cut")},
                                   {MIME_CUSTOM_ID, ids.left(ids.size() - 2)}};
    const QVariantMap intact = {{MIME_TEXT, QByteArray("whole")}, {MIME_CUSTOM_ID, ids}};
    {
        LoadReceiver receiver;
        auto manager = start(receiver);
        emit manager->insertSignal(makeItem(1, ItemTypeText, truncated));
        emit manager->insertSignal(makeItem(2, ItemTypeText, intact));
        emit manager->insertSignal(makeItem(3, ItemTypeText, textMap("plain")));
        flush(*manager);
        // A content blob cut short: the entries read before the cut survive.
        DbProbe probe(dbPath());
        const QByteArray blob = serializeDataMap(textMap("plain"));
        QVERIFY(probe.exec("INSERT INTO clipboard_history VALUES(4, 0, 4, 1, 2, ?)",
                           {blob.left(blob.size() - 1)}));
    }
    LoadReceiver receiver;
    auto manager = start(receiver);
    QTRY_COMPARE(receiver.order.size(), 3);
    QCOMPARE(receiver.items.size(), 4);
    QVERIFY(receiver.item(1)->customIds.isEmpty());
    QCOMPARE(receiver.item(1)->dataMap, truncated);
    QCOMPARE(receiver.item(2)->customIds, (QSet<uint>{20, 21, 22}));
    QVERIFY(receiver.item(3)->customIds.isEmpty());
    QVERIFY(receiver.item(4)->dataMap.isEmpty());
    QVERIFY(logText().contains("hashValue 1"));
}

void TestSqlThread::clearAllKeepsIconsAndTabs()
{
    LoadReceiver receiver;
    auto manager = start(receiver);
    for (uint hash = 1; hash <= 5; ++hash)
        emit manager->insertSignal(makeItem(hash, ItemTypeText, textMap(QByteArray::number(hash))));
    emit manager->insertIconSignal(8, QStringLiteral("/bin/x"), pngBytes(2, Qt::red));
    emit manager->insertTabDataSignal(20, QStringLiteral("pinned"), false);
    emit manager->deleteAllItemsSignal();
    emit manager->insertSignal(makeItem(6, ItemTypeText, textMap("after")));
    flush(*manager);

    DbProbe probe(dbPath());
    QCOMPARE(probe.column("SELECT hashValue FROM clipboard_history"), QVariantList{6});
    QCOMPARE(probe.count("icon_table"), 1);
    QCOMPARE(probe.count("tab_data_table"), 1);
}

void TestSqlThread::attachFeedsWindowAndRelaysModel()
{
    {
        LoadReceiver receiver;
        auto manager = start(receiver);
        emit manager->insertIconSignal(66, QStringLiteral("/bin/editor"), pngBytes(6, Qt::red));
        emit manager->insertSignal(makeItem(1, ItemTypeText, textMap("stored")));
        flush(*manager);
    }
    MainWindow window;
    ClipboardModel *model = window.clipboardModel();
    SqlManager manager(dbPath());
    manager.attach(&window);
    QVERIFY(manager.initThread());
    QVERIFY(manager.initThread()); // a second call adds no second set of connections
    QTRY_COMPARE(model->rowCount(), 1);
    QCOMPARE(model->items().at(0).hashValue, 1u);
    QCOMPARE(model->getIcon(66).size(), QSize(6, 6));

    // The model's own announcements reach the database through the manager.
    model->addItem(makeItem(2, ItemTypeText, textMap("new")));
    model->removeItem(1);
    flush(manager);
    DbProbe probe(dbPath());
    QCOMPARE(probe.column("SELECT hashValue FROM clipboard_history"), QVariantList{2});
    QCOMPARE(logText().count("fail to"), 0);
}

QTEST_MAIN(TestSqlThread)
#include "tst_sqlthread.moc"
