#include <functional>
#include <limits>
#include <memory>

#include <QPixmap>
#include <QtTest>

#include "common/autodeleteitem.h"
#include "common/historysettings.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemdata.h"
#include "item/itemhash.h"
#include "support/tempappfolder.h"

// One change to the model; the hash is that of the item "t".
using Change = std::function<void(ClipboardModel *, uint)>;
Q_DECLARE_METATYPE(Change)

class TestItem : public QObject
{
    Q_OBJECT
    TempAppFolder folder;
    std::unique_ptr<ClipboardModel> model;
    std::unique_ptr<QAbstractItemModelTester> tester;
    QStringList signalNames;

    static qulonglong now() { return qulonglong(QDateTime::currentMSecsSinceEpoch()); }
    static uint identity(const QVariantMap &map) { return hashDataMap(map, identityKeys()); }
    // A text item; `payload` bytes of HTML beside the text count towards its size only.
    static ItemData textItem(const QString &text, qulonglong time = now(), const QSet<uint> &tabs = {},
                             int payload = 0)
    {
        ItemData item;
        item.itemType = ItemTypeText;
        item.createTime = item.lastActiveTime = time;
        item.dataMap = {{MIME_TEXT, text}, {MIME_EXE_PATH, QString()}};
        if (payload > 0)
            item.dataMap.insert(MIME_HTML, QByteArray(payload, 'x'));
        for (uint tab : tabs)
            item.addCustomId(tab);
        item.hashValue = identity(item.dataMap);
        return item;
    }
    // The item as the database hands it back: every value turned into bytes.
    static ItemData reloaded(const ItemData &item)
    {
        ItemData copy;
        deserializeDataMap(serializeDataMap(item.dataMap), copy.dataMap);
        return copy;
    }
    // The signals sent since the last call, in order, joined by spaces.
    QString sent() { return std::exchange(signalNames, {}).join(' '); }
    // The rows, top first, joined by "|": text, [tabs], {remark}, <title>,
    // "ocr", and c or + when the create or last use time is from `fresh` on.
    QString rows(qulonglong fresh = std::numeric_limits<qulonglong>::max()) const
    {
        QStringList texts;
        for (const ItemData &item : model->items()) {
            QStringList ids;
            for (uint id : item.customIds)
                ids << QString::number(id);
            ids.sort();
            QString text = item.text() + (ids.isEmpty() ? QString() : "[" + ids.join(',') + "]");
            if (!item.remark().isEmpty())
                text += "{" + item.remark() + "}";
            if (item.hasWebTitle())
                text += "<" + item.webTitle() + ">";
            if (item.hasOcrResult())
                text += " ocr";
            const bool created = item.createTime >= fresh, used = item.lastActiveTime >= fresh;
            if (created || used)
                text += QString(":") + (created ? "c" : "") + (used ? "+" : "");
            texts << text;
        }
        return texts.join('|');
    }

public slots:
    void record()
    {
        signalNames << QString(sender()->metaObject()->method(senderSignalIndex()).name()).remove("Signal");
    }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        initLog(LogDebug, folder.path());
        Setting::instance().init(folder.path());
    }

    void init()
    {
        Setting::instance().settings()->clear();
        signalNames.clear();
        tester.reset();
        model = std::make_unique<ClipboardModel>();
        // Tab 20 lets its items go, tab 21 protects them; other tabs are unknown to the housekeeping.
        model->setTabAutoDeleteProvider([]() { return TabAutoDeleteMap{{20, true}, {21, false}}; });
        tester = std::make_unique<QAbstractItemModelTester>(model.get());
        // Every signal of the model is recorded by name, without its "Signal" ending.
        const QMetaObject &meta = ClipboardModel::staticMetaObject;
        const QMetaMethod record = metaObject()->method(metaObject()->indexOfSlot("record()"));
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            if (meta.method(i).methodType() == QMetaMethod::Signal)
                connect(model.get(), meta.method(i), this, record);
        connect(model.get(), &ClipboardModel::dataChanged, this, &TestItem::record);
    }

    // Identities and icon keys are primary keys of stored rows: these values must never change.
    void identityHash()
    {
        QCOMPARE(identity({{MIME_EXE_PATH, "/usr/bin/a"}, {MIME_REMARK, "r"}}), 666U);
        QCOMPARE(identity({{MIME_TEXT, "same"}, {MIME_URI_LIST, "u"}, {MIME_IMAGE_PNG, "p"}}), 0xd53a220cU);
        QCOMPARE(
            identity({{MIME_TEXT, "abcdefgh"}, {MIME_URI_LIST, "uuuuuuuuuuuuuuuu"}, {MIME_IMAGE_PNG, ""}}),
            0xf7212784U);
        QCOMPARE(hashBytes("hello world, this is vorlik"), 0x3525a9fcU);
        // Source program, remark and title stay outside; so does the type, which is not in the map.
        QCOMPARE(
            identity({{MIME_TEXT, "same"}, {MIME_EXE_PATH, "/b"}, {MIME_REMARK, "n"}, {MIME_WEB_TITLE, "t"}}),
            identity({{MIME_TEXT, "same"}}));
        // Characters beyond the BMP keep the identity over a database round trip.
        const ItemData item = textItem(QStringLiteral("emoji \U0001F600 \u4E2D\u6587"));
        const QVariantMap copy = reloaded(item).dataMap;
        QVERIFY(copy.value(MIME_TEXT).typeId() == QMetaType::QByteArray && identity(copy) == item.hashValue);
    }

    void dataMapBlob_data()
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
        QTest::newRow("huge count") << QByteArray::fromHex("7fffffff") << false << 0 << "fail to read mime";
    }

    void dataMapBlob()
    {
        QFETCH(QByteArray, blob);
        QFETCH(bool, complete);
        QFETCH(int, entries);
        QFETCH(QString, logged);
        QFile log(logFilePath());
        const qint64 logStart = log.size();
        QVariantMap read{{"stale", QByteArray("x")}};
        QCOMPARE(deserializeDataMap(blob, read), complete);
        QCOMPARE(read.size(), entries);
        const bool seen = log.open(QIODevice::ReadOnly) && log.seek(logStart) &&
                          QString::fromUtf8(log.readAll()).contains("Corrupted data: " + logged);
        QCOMPARE(seen, !logged.isEmpty());
    }

    void valueForms()
    {
        // Big-endian count, then (UTF-16 key, bytes) pairs in key order; strings go in as UTF-8.
        QCOMPARE(serializeDataMap({{"b", QByteArray("xy")}, {"a", QStringLiteral("\u00e9")}}),
                 QByteArray::fromHex("00000002 000000020061 00000002c3a9 000000020062 000000027879"));
        // The lists come back whole or not at all.
        const QList<QUrl> urls{QUrl::fromLocalFile("/tmp/a b.txt"), QUrl::fromLocalFile("/home/\u00fc/x")};
        QCOMPARE(deserializeUrls(serializeUrls(urls)), urls);
        QVERIFY(deserializeUrls(serializeUrls(urls).chopped(3)).isEmpty());
        const QSet<uint> ids{20, 21, 4000000000U};
        QSet<uint> readIds{99};
        QVERIFY(deserializeCustomIds(serializeCustomIds(ids), readIds) && readIds == ids);
        QVERIFY(!deserializeCustomIds(serializeCustomIds(ids).chopped(2), readIds) && readIds.isEmpty());
        const QList<OCRResult> results{
            {QPolygon({QPoint(1, 2), QPoint(30, -4)}), QStringLiteral("Hi \u4F60")}, {QPolygon(), QString()}};
        QCOMPARE(deserializeOcrResults(serializeOcrResults(results)), results);
        QVERIFY(deserializeOcrResults(serializeOcrResults(results).chopped(5)).isEmpty());
    }

    void changes_data()
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
        // A copy made during the load that repeats a stored item stays one row with its own
        // times, takes the stored tabs and remark, and replaces the stored row.
        row("copied while loading", "dataChanged deleteItem insert", "other[20]{r}|t[21,22]",
            [](auto m, uint) {
                ItemData stored = textItem("other", 500, {20});
                stored.setRemark("r");
                m->addLoadedItem(stored);
            });
        row("remove", "deleteItem", "other", [](auto m, uint t) { m->removeItem(t); });
        // A use moves the item up in time; a copy of a known item refreshes both times.
        row("use", "dataChanged updateActiveTime scrollToTop", "other|t[21,22]:+",
            [](auto m, uint t) { m->updateItemActiveTime(t); });
        row("copied again", "dataChanged updateCreateActiveTime", "other|t[21,22]:c+",
            [](auto m, uint t) { QVERIFY(m->updateItemCreateActiveTime(t)); });
        row("time set", "dataChanged updateActiveTime", same,
            [](auto m, uint) { m->setItemActiveTime(m->index(1), 42); });
        // Joining a tab is a use of the item; leaving it is not.
        row("join tab", "dataChanged updateDataMapAndTime scrollToTop", "other|t[20,21,22]:+",
            [](auto m, uint t) { m->setItemCustomId(t, 20, false); });
        row("leave tab", "dataChanged updateDataMap scrollToTop", "other|t[22]",
            [](auto m, uint t) { m->setItemCustomId(t, 21, true); });
        row("tab deleted", "dataChanged updateDataMap", "other|t[22]",
            [](auto m, uint) { m->removeCustomIdFromAll(21); });
        row("remark", "dataChanged updateDataMapAndTime scrollToTop", "other|t[21,22]{note}:+",
            [](auto m, uint) { m->setItemRemark(m->index(1), "note"); });
        row("ocr", "dataChanged updateDataMap", same + " ocr",
            [ocr](auto m, uint t) { m->onFinishOcr(t, ocr); });
        row("title", "dataChanged updateDataMap", same + "<Title>",
            [](auto m, uint t) { m->onFetchWebTitle(t, "Title"); });
        // An edit is a new identity that keeps its tabs and its first copy time.
        row("edit", "deleteItem dataChanged insert scrollToTop itemHashValueChanged", "after[21,22]:+|other",
            [](auto m, uint t) { m->updateItemText(t, "after"); });
        // Unknown items and rows change nothing; late answers for items that are gone are dropped.
        row("remove unknown", "", same, [](auto m, uint) { m->removeItem(999), m->removeRow(5); });
        row("use unknown", "scrollToTop", same, [](auto m, uint) { m->updateItemActiveTime(999); });
        row("copied unknown", "", same, [](auto m, uint) { QVERIFY(!m->updateItemCreateActiveTime(999)); });
        row("time set nowhere", "", same, [](auto m, uint) { m->setItemActiveTime(QModelIndex(), 43); });
        row("tab of unknown", "scrollToTop", same, [](auto m, uint) { m->setItemCustomId(777, 20, false); });
        row("remark nowhere", "", same, [](auto m, uint) { m->setItemRemark(m->index(7), "x"); });
        row("edit unknown", "", same, [](auto m, uint) { m->updateItemText(4242, "x"); });
        row("late answers", "", same,
            [ocr](auto m, uint) { m->onFinishOcr(5, ocr), m->onFetchWebTitle(5, "x"); });
        // Everything goes, protected items too.
        row("clear", "deleteAllItems", "", [](auto m, uint) { m->onClearAllItem(); });

        // Housekeeping; "other" and "t" are decades old. Expired items leave the tabs that let them go;
        // then those in no tab go, and the others are saved.
        row("expiry",
            "dataChanged dataChanged dataChanged dataChanged updateDataMap dataChanged deleteItem "
            "deleteItem updateDataMap",
            "fresh:c+|both[21]|t[21,22]", [](auto m, uint) {
                m->addLoadedItem(textItem("auto", 0, {20}));
                m->addLoadedItem(textItem("both", 0, {20, 21}));
                m->addLoadedItem(textItem("fresh"));
                m->onCheckExpiredItem();
            });
        // At the count limit nothing goes; above it the least recently used unprotected items, until
        // within it; protected ones never.
        const auto evict = [](uint count) -> Change {
            return [count](auto m, uint) {
                Setting::instance().settings()->setValue(HistorySettings::keyTotalCntLimit, count);
                m->addLoadedItem(textItem("new"));
                m->onCheckTotalSizeCnt();
            };
        };
        row("count at limit", "dataChanged", "new:c+|" + same, evict(3));
        row("count over", "dataChanged deleteItem", "new:c+|t[21,22]", evict(2));
        row("count only protected", "dataChanged deleteItem deleteItem", "t[21,22]", evict(0));
        // Only unprotected sizes count: 800 KiB free and 400 KiB protected fit in 1 MiB.
        row("size", "dataChanged dataChanged dataChanged dataChanged deleteItem deleteItem",
            "d|c|b[21]|t[21,22]", [](auto m, uint) {
                Setting::instance().settings()->setValue(HistorySettings::keyTotalSizeLimit, 1);
                m->addLoadedItem(textItem("a", 3000, {}, 400 * 1024));
                m->addLoadedItem(textItem("b", 4000, {21}, 400 * 1024));
                m->addLoadedItem(textItem("c", 5000, {}, 400 * 1024));
                m->addLoadedItem(textItem("d", 6000, {}, 400 * 1024));
                m->onCheckTotalSizeCnt();
            });
        // A pass yields the GUI thread once its budget (100 ms, 200 ms) is spent, checked after
        // each removal; the rest waits for the next pass. Here each removal alone outlasts it.
        row("slow expiry", "deleteItem", "t[21,22]", [](auto m, uint) {
            QObject::connect(m, &ClipboardModel::deleteItemSignal, [] { QThread::msleep(110); });
            m->onCheckExpiredItem();
        });
        row("slow eviction", "dataChanged deleteItem", "new:c+|t[21,22]", [evict](auto m, uint t) {
            QObject::connect(m, &ClipboardModel::deleteItemSignal, [] { QThread::msleep(210); });
            evict(0)(m, t);
        });
    }

    void changes()
    {
        QFETCH(Change, change);
        QFETCH(QString, expected);
        QFETCH(QString, after);
        const qulonglong fresh = now();
        const ItemData t = textItem("t", 1000, {21, 22});
        model->addItem(t);
        model->addItem(textItem("other", 2000));
        sent();

        // What goes to the database is what the model then holds.
        QMap<uint, QVariantMap> maps;
        QMap<uint, qulonglong> uses;
        ClipboardModel *m = model.get();
        connect(m, &ClipboardModel::insertSignal, this,
                [&](const ItemData &item) { maps[item.hashValue] = item.dataMap; });
        connect(m, &ClipboardModel::updateDataMapSignal, this,
                [&](uint hash, const QVariantMap &map) { maps[hash] = map; });
        connect(
            m, &ClipboardModel::updateDataMapAndTimeSignal, this,
            [&](uint hash, const QVariantMap &map, qulonglong use) { maps[hash] = map, uses[hash] = use; });
        connect(m, &ClipboardModel::updateActiveTimeSignal, this,
                [&](uint hash, qulonglong use) { uses[hash] = use; });
        connect(m, &ClipboardModel::updateCreateActiveTimeSignal, this,
                [&](uint hash, qulonglong, qulonglong use) { uses[hash] = use; });
        connect(m, &ClipboardModel::itemHashValueChanged, this,
                [&](uint from, uint to) { QVERIFY(from == t.hashValue && m->contains(to)); });

        change(m, t.hashValue);
        QCOMPARE(sent(), expected);
        QCOMPARE(rows(fresh), after);
        for (const ItemData &item : m->items()) {
            QCOMPARE(item.hashValue, identity(item.dataMap));
            QSet<uint> stored;
            deserializeCustomIds(item.dataMap.value(MIME_CUSTOM_ID).toByteArray(), stored);
            QCOMPARE(stored, item.customIds);
            if (maps.contains(item.hashValue))
                QCOMPARE(maps.value(item.hashValue), item.dataMap);
            QCOMPARE(uses.value(item.hashValue, item.lastActiveTime), item.lastActiveTime);
        }
    }

    // Programs that share an icon image share one stored record, under the first path seen.
    void icons()
    {
        QPixmap red(16, 16);
        red.fill(Qt::red);
        QSignalSpy stored(model.get(), &ClipboardModel::insertIconSignal);
        uint first = 0, second = 0, none = 7;
        model->addIcon("/usr/bin/one", red, first);
        model->addIcon("/usr/bin/two", red.copy(), second);
        model->addIcon("/usr/bin/none", QPixmap(), none);
        QVERIFY(first != 0 && second == first && none == 0 && stored.size() == 1);
        QCOMPARE(stored.at(0).at(1).toString(), "/usr/bin/one");
        QCOMPARE(stored.at(0).at(0).toUInt(), hashBytes(stored.at(0).at(2).toByteArray()));
        // Icons outlive the history; no icon and unknown ones read as none.
        model->onLoadDbIcon({IconData{31337, "/x", QPixmap(4, 4)}});
        model->onClearAllItem();
        QVERIFY(model->getIcon(first).size() == QSize(16, 16) && model->getIcon(31337).size() == QSize(4, 4));
        QVERIFY(model->getIcon(0).isNull() && model->getIcon(7).isNull());
        // The same PNG bytes make an image item; broken ones read as no image.
        ItemData image;
        image.dataMap = {{MIME_IMAGE_PNG, stored.at(0).at(2)}};
        QCOMPARE(reloaded(image).image().size(), QSize(16, 16));
        image.dataMap = {{MIME_IMAGE_PNG, QByteArray("not a png")}};
        QVERIFY(image.image().isNull());
    }
};

QTEST_MAIN(TestItem)
#include "tst_item.moc"
