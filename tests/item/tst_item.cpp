#include <functional>
#include <limits>
#include <memory>

#include <QAbstractItemModelTester>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QPixmap>
#include <QRandomGenerator>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTimer>
#include <QtTest>

#include "common/autodeleteitem.h"
#include "common/historysettings.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "common/textutils.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemdata.h"
#include "item/itemhash.h"
#include "support/tempappfolder.h"

namespace {

QByteArray pngOf(const QColor &color)
{
    QPixmap pixmap(8, 6);
    pixmap.fill(color);
    QByteArray png;
    pixmapToPng(pixmap, png);
    return png;
}

// The item as the database hands it back: every value turned into bytes.
ItemData reloaded(const ItemData &item)
{
    ItemData copy;
    deserializeDataMap(serializeDataMap(item.dataMap), copy.dataMap);
    return copy;
}

uint identity(const QVariantMap &map)
{
    return hashDataMap(map, identityKeys());
}

constexpr qulonglong kDay = 86400000ULL;

qulonglong now()
{
    return qulonglong(QDateTime::currentMSecsSinceEpoch());
}

ItemData textItem(const QString &text, qulonglong activeTime = now(), const QSet<uint> &tabs = {})
{
    ItemData item;
    item.itemType = ItemTypeText;
    item.createTime = item.lastActiveTime = activeTime;
    item.dataMap = {{MIME_TEXT, text}, {MIME_EXE_PATH, QString()}};
    for (uint tab : tabs)
        item.addCustomId(tab);
    item.hashValue = identity(item.dataMap);
    return item;
}

void setting(const QString &key, const QVariant &value)
{
    Setting::instance().settings()->setValue(key, value);
}

void keepFor(qulonglong ms)
{
    setting(HistorySettings::keyAutoDeleteTime, QVariant::fromValue(AutoDeleteItem{qint64(ms), 0}));
}

// Busy, so that a pass's own clock sees the time go by.
void spend(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
    }
}

// One change to the model; the hash is that of the item "t".
using Change = std::function<void(ClipboardModel *, uint)>;

} // namespace

Q_DECLARE_METATYPE(Change)

class TestItem : public QObject
{
    Q_OBJECT

public slots:
    void record()
    {
        signalNames << QString(sender()->metaObject()->method(senderSignalIndex()).name()).remove("Signal");
    }

private slots:
    void initTestCase();
    void init();
    void cleanup();

    // The record, its stored forms and hashes.
    void stableHash();
    void identityAndIconHash();
    void dataMapBlob_data();
    void dataMapBlob();
    void valueForms();
    void sizeCacheAndDecoding();
    void tabRules();

    // The live model.

    void changes_data();
    void changes();
    void usesWithinOneMillisecondRise();
    void icons();
    void expiry();
    void expiryIsStrict();
    void expiryBudget();
    void eviction();
    void evictionBudget();

private:
    void add(const QString &text, qulonglong time, const QSet<uint> &tabs = {})
    {
        model->addItem(textItem(text, time, tabs));
    }
    // The rows, top first, joined by "|": text, [tabs], {remark}, <title>,
    // "ocr", and c or + when the create or last use time is from `fresh` on.
    QString rows() const;
    // The signals sent since the last call, in order, joined by spaces.
    QString sent() { return std::exchange(signalNames, {}).join(' '); }

    TempAppFolder folder;
    std::unique_ptr<ClipboardModel> model;
    std::unique_ptr<QAbstractItemModelTester> tester;
    TabAutoDeleteMap tabs;
    QStringList signalNames;
    qulonglong fresh = std::numeric_limits<qulonglong>::max();
};

void TestItem::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());
}

void TestItem::init()
{
    Setting::instance().settings()->clear();
    fresh = std::numeric_limits<qulonglong>::max();
    tabs = {{20, true}, {21, false}};
    model = std::make_unique<ClipboardModel>();
    model->setTabAutoDeleteProvider([this]() { return tabs; });
    tester = std::make_unique<QAbstractItemModelTester>(model.get());

    // Every signal of the model is recorded by name, without its "Signal" ending.
    const QMetaObject &meta = ClipboardModel::staticMetaObject;
    const QMetaMethod record = metaObject()->method(metaObject()->indexOfSlot("record()"));
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        if (meta.method(i).methodType() == QMetaMethod::Signal)
            connect(model.get(), meta.method(i), this, record);
    connect(model.get(), &ClipboardModel::dataChanged, this, &TestItem::record);
}

void TestItem::cleanup()
{
    tester.reset();
    model.reset();
    signalNames.clear();
}

QString TestItem::rows() const
{
    QStringList texts;
    for (const ItemData &item : model->items()) {
        QStringList ids;
        for (uint id : item.customIds)
            ids << QString::number(id);
        ids.sort();
        QString text = item.text();
        if (!ids.isEmpty())
            text += "[" + ids.join(',') + "]";
        if (!item.remark().isEmpty())
            text += "{" + item.remark() + "}";
        if (item.hasWebTitle())
            text += "<" + item.webTitle() + ">";
        if (item.hasOcrResult())
            text += " ocr";
        if (item.createTime >= fresh || item.lastActiveTime >= fresh)
            text += QString(":") + (item.createTime >= fresh ? "c" : "") +
                    (item.lastActiveTime >= fresh ? "+" : "");
        texts << text;
    }
    return texts.join('|');
}

void TestItem::changes_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("after");
    const QString same = "other|t[21,22]";
    const QList<OCRResult> ocr{{QPolygon({QPoint(0, 0), QPoint(4, 4)}), QStringLiteral("ocr")}};
    const auto row = [](const char *name, const char *expected, const QString &after, Change change) {
        QTest::newRow(name) << change << QString(expected) << after;
    };
    row("add", "dataChanged insert", "new:c+|" + same, [](auto m, uint) { m->addItem(textItem("new")); });
    row("add loaded", "dataChanged", "old|" + same,
        [](auto m, uint) { m->addLoadedItem(textItem("old", 500)); });
    row("remove", "deleteItem", "other", [](auto m, uint t) { m->removeItem(t); });
    row("remove unknown", "", same, [](auto m, uint) { m->removeItem(999), m->removeRow(5); });
    // A use moves the item up in time; a copy of a known item refreshes both times.
    row("use", "dataChanged updateActiveTime scrollToTop", "other|t[21,22]:+",
        [](auto m, uint t) { m->updateItemActiveTime(t); });
    row("use unknown", "scrollToTop", same, [](auto m, uint) { m->updateItemActiveTime(999); });
    row("copied again", "dataChanged updateCreateActiveTime", "other|t[21,22]:c+",
        [](auto m, uint t) { QVERIFY(m->updateItemCreateActiveTime(t)); });
    row("copied unknown", "", same, [](auto m, uint) { QVERIFY(!m->updateItemCreateActiveTime(999)); });
    row("time set", "dataChanged updateActiveTime", same,
        [](auto m, uint) { m->setItemActiveTime(m->index(1), 42); });
    row("time set nowhere", "", same, [](auto m, uint) { m->setItemActiveTime(QModelIndex(), 43); });
    // Joining a tab is a use of the item; leaving it is not.
    row("join tab", "dataChanged updateDataMapAndTime scrollToTop", "other|t[20,21,22]:+",
        [](auto m, uint t) { m->setItemCustomId(t, 20, false); });
    row("leave tab", "dataChanged updateDataMap scrollToTop", "other|t[22]",
        [](auto m, uint t) { m->setItemCustomId(t, 21, true); });
    row("tab of unknown", "scrollToTop", same, [](auto m, uint) { m->setItemCustomId(777, 20, false); });
    row("tab deleted", "dataChanged updateDataMap", "other|t[22]",
        [](auto m, uint) { m->removeCustomIdFromAll(21); });
    row("remark", "dataChanged updateDataMapAndTime scrollToTop", "other|t[21,22]{note}:+",
        [](auto m, uint) { m->setItemRemark(m->index(1), "note"); });
    row("remark nowhere", "", same, [](auto m, uint) { m->setItemRemark(m->index(7), "x"); });
    row("ocr", "dataChanged updateDataMap", same + " ocr", [ocr](auto m, uint t) { m->onFinishOcr(t, ocr); });
    row("title", "dataChanged updateDataMap", same + "<Title>",
        [](auto m, uint t) { m->onFetchWebTitle(t, "Title"); });
    // Late answers for items that are gone are dropped.
    row("late answers", "", same,
        [ocr](auto m, uint) { m->onFinishOcr(555, ocr), m->onFetchWebTitle(555, "late"); });
    // An edit is a new identity that keeps its tabs and its first copy time.
    row("edit", "deleteItem dataChanged insert scrollToTop itemHashValueChanged", "after[21,22]:+|other",
        [](auto m, uint t) { m->updateItemText(t, "after"); });
    row("edit unknown", "", same, [](auto m, uint) { m->updateItemText(4242, "x"); });
    // Everything goes, protected items too.
    row("clear", "deleteAllItems", "", [](auto m, uint) { m->onClearAllItem(); });
}

void TestItem::changes()
{
    QFETCH(Change, change);
    QFETCH(QString, expected);
    QFETCH(QString, after);
    fresh = now();
    const ItemData t = textItem("t", 1000, {21, 22});
    model->addItem(t);
    add("other", 2000);
    QCOMPARE(rows(), "other|t[21,22]");
    const int size = model->items().at(1).dataSize();
    sent();

    // What goes to the database is what the model then holds.
    QMap<uint, QVariantMap> maps;
    QMap<uint, qulonglong> uses;
    ClipboardModel *m = model.get();
    connect(m, &ClipboardModel::insertSignal, this,
            [&](const ItemData &item) { maps[item.hashValue] = item.dataMap; });
    connect(m, &ClipboardModel::updateDataMapSignal, this,
            [&](uint hash, const QVariantMap &map) { maps[hash] = map; });
    connect(m, &ClipboardModel::updateDataMapAndTimeSignal, this,
            [&](uint hash, const QVariantMap &map, qulonglong use) { maps[hash] = map, uses[hash] = use; });
    connect(m, &ClipboardModel::updateActiveTimeSignal, this,
            [&](uint hash, qulonglong use) { uses[hash] = use; });
    connect(m, &ClipboardModel::updateCreateActiveTimeSignal, this,
            [&](uint hash, qulonglong, qulonglong use) { uses[hash] = use; });
    connect(m, &ClipboardModel::itemHashValueChanged, this, [&](uint from, uint to) {
        QVERIFY(from == t.hashValue && !m->contains(from) && m->contains(to));
    });

    change(m, t.hashValue);
    QCOMPARE(sent(), expected);
    QCOMPARE(rows(), after);
    for (const ItemData &item : m->items()) {
        QCOMPARE(item.hashValue, identity(item.dataMap));
        QSet<uint> stored;
        deserializeCustomIds(item.dataMap.value(MIME_CUSTOM_ID).toByteArray(), stored);
        QCOMPARE(stored, item.customIds);
        if (maps.contains(item.hashValue))
            QCOMPARE(maps.value(item.hashValue), item.dataMap);
        QCOMPARE(uses.value(item.hashValue, item.lastActiveTime), item.lastActiveTime);
        // Annotations leave the counted size as first seen.
        if (item.hashValue == t.hashValue)
            QCOMPARE(item.dataSize(), size);
    }
}

void TestItem::usesWithinOneMillisecondRise()
{
    const ItemData item = textItem("t");
    model->addItem(item);
    QSignalSpy times(model.get(), &ClipboardModel::updateActiveTimeSignal);
    for (int i = 0; i < 50; ++i)
        model->updateItemActiveTime(item.hashValue);
    for (int i = 1; i < times.size(); ++i)
        QVERIFY(times.at(i).at(1).toULongLong() > times.at(i - 1).at(1).toULongLong());
}

void TestItem::icons()
{
    QPixmap red(16, 16), alsoRed(16, 16), blue(4, 4);
    red.fill(Qt::red);
    alsoRed.fill(Qt::red);
    blue.fill(Qt::blue);
    QSignalSpy iconSpy(model.get(), &ClipboardModel::insertIconSignal);

    // Icons are keyed by their image: the first path stays.
    uint first = 0, second = 0, none = 7;
    model->addIcon("/usr/bin/one", red, first);
    model->addIcon("/usr/bin/two", alsoRed, second);
    model->addIcon("/usr/bin/none", QPixmap(), none);
    QVERIFY(first != 0 && second == first && none == 0);
    QCOMPARE(iconSpy.size(), 1);
    QCOMPARE(iconSpy.at(0).at(1).toString(), "/usr/bin/one");
    QCOMPARE(iconSpy.at(0).at(0).toUInt(), hashBytes(iconSpy.at(0).at(2).toByteArray()));
    QCOMPARE(model->getIcon(first).size(), QSize(16, 16));
    QVERIFY(model->getIcon(0).isNull() && model->getIcon(31337).isNull());
    model->onLoadDbIcon({IconData{31337, "/x", blue}});
    QCOMPARE(model->getIcon(31337).size(), QSize(4, 4));
    // Clearing the history leaves the icons.
    model->onClearAllItem();
    QVERIFY(!model->getIcon(first).isNull());
}

void TestItem::expiry()
{
    // Both passes run on timers only, never at start.
    QList<int> intervals;
    for (const QTimer *timer : model->findChildren<QTimer *>()) {
        QVERIFY(timer->isActive() && !timer->isSingleShot());
        intervals << timer->interval();
    }
    std::sort(intervals.begin(), intervals.end());
    QCOMPARE(intervals, QList<int>({900000, 3600000}));

    keepFor(kDay);
    const qulonglong old = now() - 2 * kDay;
    model->addItem(textItem("fresh"));
    add("old free", old);
    add("old in auto tab", old, {20});
    add("old in both", old, {20, 21});
    add("old in unknown tab", old, {30});
    QSignalSpy maps(model.get(), &ClipboardModel::updateDataMapSignal);

    model->onCheckExpiredItem();
    QCOMPARE(rows(), "old in unknown tab[30]|old in both[21]|fresh");
    // Kept old items are saved on every pass.
    QCOMPARE(maps.size(), 2);
    model->onCheckExpiredItem();
    QCOMPARE(maps.size(), 4);
    QCOMPARE(rows(), "old in unknown tab[30]|old in both[21]|fresh");
}

void TestItem::expiryIsStrict()
{
    const qulonglong keep = 3 * kDay;
    keepFor(keep);
    // Retried until a pass ran within one millisecond, so that its clock is known.
    bool checked = false;
    for (int attempt = 0; attempt < 200 && !checked; ++attempt) {
        model->onClearAllItem();
        const qulonglong before = now();
        add("at the edge", before - keep);
        add("one ms over", before - keep - 1);
        model->onCheckExpiredItem();
        if (now() != before)
            continue;
        QCOMPARE(rows(), "at the edge");
        checked = true;
    }
    QVERIFY(checked);
}

void TestItem::expiryBudget()
{
    keepFor(kDay);
    const qulonglong old = now() - 2 * kDay;
    for (int i = 0; i < 5; ++i)
        add(QString("old %1").arg(i), old);
    const ItemData keptA = textItem("kept a", old, {21});
    const ItemData keptB = textItem("kept b", old, {21});
    model->addItem(keptA);
    model->addItem(keptB);

    // Slow saves of kept items do not end the pass before a removal, but count after it.
    connect(model.get(), &ClipboardModel::updateDataMapSignal, this, []() { spend(80); });
    model->onCheckExpiredItem();
    QCOMPARE(rows(), "kept b[21]|kept a[21]|old 3|old 2|old 1|old 0");

    // Removals of 70 ms each: the second one ends the pass.
    model->removeItem(keptA.hashValue);
    model->removeItem(keptB.hashValue);
    connect(model.get(), &ClipboardModel::deleteItemSignal, this, []() { spend(70); });
    model->onCheckExpiredItem();
    QCOMPARE(rows(), "old 1|old 0");
}

void TestItem::eviction()
{
    setting(HistorySettings::keyTotalSizeLimit, 1);
    setting(HistorySettings::keyTotalCntLimit, 3);
    const QString big(400 * 1024, 'x');

    // At the count limit nothing goes; one above, the oldest unprotected item.
    add("protected oldest", 100, {21});
    add("oldest free", 200);
    add("newer", 300);
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    add("newest", 400);
    model->onCheckTotalSizeCnt();
    QCOMPARE(rows(), "newest|newer|protected oldest[21]");

    // Only unprotected sizes count: 800 KiB free plus 400 KiB protected fits in 1 MiB.
    model->onClearAllItem();
    setting(HistorySettings::keyTotalCntLimit, 1000);
    add("a" + big, 100);
    add("b" + big, 200, {21});
    add("c" + big, 300);
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    add("d" + big, 400);
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    QVERIFY(model->items().at(2).text().startsWith('b'));

    // Equal times share a key: only the later row of the two can go in one pass.
    model->onClearAllItem();
    setting(HistorySettings::keyTotalCntLimit, 1);
    add("earlier row", 500);
    add("later row", 500);
    add("new", 900);
    model->onCheckTotalSizeCnt();
    QCOMPARE(rows(), "later row");

    // All protected and over the count: nothing can go, pass after pass.
    model->onClearAllItem();
    for (int i = 0; i < 3; ++i)
        add(QString::number(i), 100 + i, {21});
    model->onCheckTotalSizeCnt();
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
}

void TestItem::evictionBudget()
{
    setting(HistorySettings::keyTotalCntLimit, 1);
    for (int i = 0; i < 5; ++i)
        add(QString::number(i), 100 + i);
    // Removals of 120 ms each: the second one ends the pass.
    connect(model.get(), &ClipboardModel::deleteItemSignal, this, []() { spend(120); });
    model->onCheckTotalSizeCnt();
    QCOMPARE(rows(), "4|3|2");
}

void TestItem::stableHash()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 4, 0) && QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
    QRandomGenerator random(20240611);
    for (int size = 0; size <= 2000; size += (size < 64 ? 1 : 7)) {
        QByteArray bytes(size, Qt::Uninitialized);
        for (char &byte : bytes)
            byte = char(random.bounded(256));
        QCOMPARE(stableBytesHash(bytes.constData(), size_t(size)), uint(qHash(QByteArrayView(bytes), 0)));
        const QString text = QString::fromLatin1(bytes.toBase64());
        QCOMPARE(stableBytesHash(text.constData(), size_t(text.size()) * 2),
                 uint(qHash(QStringView(text), 0)));
    }
#endif
    // Stored hashes are primary keys: these must never change.
    const std::pair<const char *, uint> known[] = {{"", 0x00000000U},
                                                   {"a", 0xd36b6b11U},
                                                   {"abcdefgh", 0xff41aa98U},
                                                   {"abcdefghi", 0xa6e91208U},
                                                   {"hello world, this is vorlik", 0x96ed8a87U}};
    for (const auto &[text, hash] : known)
        QCOMPARE(stableBytesHash(text, qstrlen(text)), hash);
}

void TestItem::identityAndIconHash()
{
    QCOMPARE(identity({}), 666U);
    QCOMPARE(identity({{MIME_EXE_PATH, "/usr/bin/a"}, {MIME_REMARK, "r"}}), 666U);

    // Source program, remark and title stay outside; so does the type, which is not in the map.
    QCOMPARE(
        identity({{MIME_TEXT, "same"}, {MIME_EXE_PATH, "/usr/bin/a"}}),
        identity({{MIME_TEXT, "same"}, {MIME_EXE_PATH, "/b"}, {MIME_REMARK, "n"}, {MIME_WEB_TITLE, "t"}}));
    QVERIFY(identity({{MIME_TEXT, "a"}}) != identity({{MIME_URI_LIST, QByteArray("a")}}));

    // Written out for one entry: key hash first, then value hash, from seed 666.
    QCOMPARE(identity({{MIME_TEXT, "same"}}),
             hashCombine(hashCombine(666, stableBytesHash(MIME_TEXT.constData(), 20)),
                         stableBytesHash("same", 4)));

    // Characters beyond the BMP keep the identity over a database round trip.
    ItemData item;
    item.dataMap = {{MIME_TEXT, QStringLiteral("emoji \U0001F600 \u4E2D\u6587")},
                    {MIME_IMAGE_PNG, pngOf(Qt::red)}};
    const ItemData copy = reloaded(item);
    QCOMPARE(copy.dataMap.value(MIME_TEXT).typeId(), int(QMetaType::QByteArray));
    QCOMPARE(identity(copy.dataMap), identity(item.dataMap));

    const QByteArray png = pngOf(Qt::blue);
    QCOMPARE(hashBytes(png), (stableBytesHash(png.constData(), size_t(png.size())) - 0x61C7DF21U) ^ 666U);
}

void TestItem::dataMapBlob_data()
{
    QTest::addColumn<QByteArray>("blob");
    QTest::addColumn<bool>("complete");
    QTest::addColumn<int>("entries");
    QTest::addColumn<QString>("logged");

    const QByteArray three = serializeDataMap({{"a", QByteArray("1")}, {"b", "22"}, {"c", "333"}});
    QTest::newRow("count 0") << QByteArray::fromHex("00000000") << true << 0 << QString();
    QTest::newRow("negative count") << QByteArray::fromHex("ffffff00aabb") << true << 0 << QString();
    QTest::newRow("empty") << QByteArray() << false << 0 << "Failed to read size";
    QTest::newRow("cut in third value") << three.chopped(1) << false << 2 << "fail to read bytes";
    QTest::newRow("cut in third key") << three.chopped(8) << false << 2 << "fail to read mime";
    QTest::newRow("count beyond data")
        << QByteArray::fromHex("7fffffff") << false << 0 << "fail to read mime";
}

void TestItem::dataMapBlob()
{
    QFETCH(QByteArray, blob);
    QFETCH(bool, complete);
    QFETCH(int, entries);
    QFETCH(QString, logged);

    const qint64 logStart = QFileInfo(logFilePath()).size();
    QVariantMap read{{"stale", QByteArray("x")}};
    QCOMPARE(deserializeDataMap(blob, read), complete);
    QCOMPARE(read.size(), entries);
    QFile log(logFilePath());
    const bool seen = log.open(QIODevice::ReadOnly) && log.seek(logStart) &&
                      QString::fromUtf8(log.readAll()).contains("Corrupted data: " + logged);
    QCOMPARE(seen, !logged.isEmpty());
}

void TestItem::valueForms()
{
    // Big-endian count, then (UTF-16 key, bytes) pairs in key order; strings go in as UTF-8.
    QCOMPARE(serializeDataMap({{"b", QByteArray("xy")}, {"a", QStringLiteral("\u00e9")}}).toHex(),
             QByteArray("00000002"
                        "000000020061"
                        "00000002c3a9"
                        "000000020062"
                        "000000027879"));

    const QList<QUrl> urls{QUrl::fromLocalFile("/tmp/a b.txt"),
                           QUrl::fromLocalFile(QStringLiteral("/home/\u00fc/x"))};
    const QByteArray urlBytes = serializeUrls(urls);
    QCOMPARE(deserializeUrls(urlBytes), urls);
    QVERIFY(deserializeUrls(urlBytes.chopped(3)).isEmpty()); // never a partial list

    const QSet<uint> ids{20, 21, 4000000000U};
    const QByteArray idBytes = serializeCustomIds(ids);
    QCOMPARE(idBytes.size(), 4 + 3 * 4);
    QSet<uint> readIds{99};
    QVERIFY(deserializeCustomIds(idBytes, readIds));
    QCOMPARE(readIds, ids);
    QVERIFY(!deserializeCustomIds(idBytes.chopped(2), readIds));
    QVERIFY(readIds.isEmpty());

    const QList<OCRResult> results{{QPolygon({QPoint(1, 2), QPoint(30, -4)}), QStringLiteral("Hi \u4F60")},
                                   {QPolygon(), QString()}};
    const QByteArray ocrBytes = serializeOcrResults(results);
    QCOMPARE(deserializeOcrResults(ocrBytes), results);
    QVERIFY(deserializeOcrResults(ocrBytes.chopped(5)).isEmpty());
}

void TestItem::sizeCacheAndDecoding()
{
    ItemData item;
    item.dataMap = {{MIME_TEXT, QStringLiteral("\u00e9t\u00e9")}, {MIME_EXE_PATH, "/bin/x"}};
    QCOMPARE(item.dataSize(), 5 + 6);

    item.dataMap.insert(MIME_WEB_TITLE, QString());
    QVERIFY(!item.hasWebTitle());
    item.dataMap.insert(MIME_WEB_TITLE, QStringLiteral("\u6807\u9898"));
    item.dataMap.insert(MIME_HTML, "<b>x</b>");
    item.setRemark("note");
    item.addCustomId(20);
    // The setters leave the first computation alone, on purpose.
    QCOMPARE(item.dataSize(), 11);

    const ItemData loaded = reloaded(item);
    QVERIFY(loaded.hasWebTitle());
    QCOMPARE(loaded.webTitle(), QStringLiteral("\u6807\u9898"));
    QCOMPARE(loaded.remark(), "note");
    // A reload counts the blob's byte arrays afresh.
    QCOMPARE(loaded.dataSize(), 11 + 6 + 8 + 4 + 8);

    item.dataMap.insert(MIME_IMAGE_PNG, pngOf(Qt::red));
    QCOMPARE(item.image().pixelColor(7, 5), QColor(Qt::red));
    item.dataMap.insert(MIME_IMAGE_PNG, QByteArray("not a png"));
    QVERIFY(item.image().isNull());
}

void TestItem::tabRules()
{
    ItemData item;
    QVERIFY(!item.removeCustomId(20) && !item.removeCustomIds({{20, true}}));
    QVERIFY(!item.dataMap.contains(MIME_CUSTOM_ID) && item.isAutoDelete({{20, false}}));
    item.addCustomId(20);
    item.addCustomId(21);
    // Only a tab known to the map with its flag off protects.
    QVERIFY(item.isAutoDelete({}) && item.isAutoDelete({{20, true}, {99, false}}));
    QVERIFY(!item.isAutoDelete({{20, true}, {21, false}}));
    // The answer is that of the last auto-delete tab tried; the stored entry follows.
    QVERIFY(!item.removeCustomIds({{20, true}, {21, false}, {30, true}}));
    QCOMPARE(item.customIds, QSet<uint>{21});
    QVERIFY(item.removeCustomIds({{21, true}}));
    QSet<uint> stored{1};
    QVERIFY(deserializeCustomIds(item.dataMap.value(MIME_CUSTOM_ID).toByteArray(), stored) &&
            stored.isEmpty());
}

QTEST_MAIN(TestItem)
#include "tst_item.moc"
