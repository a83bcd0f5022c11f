#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QPixmap>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QtTest>

#include "common/log.h"
#include "common/mime.h"
#include "common/textutils.h"
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

} // namespace

class TestItemData : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void stableHash();
    void identityAndIconHash();
    void dataMapBlob_data();
    void dataMapBlob();
    void valueForms();
    void sizeCacheAndDecoding();
    void tabRules();

private:
    TempAppFolder folder;
};

void TestItemData::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    initLog(LogDebug, folder.path());
}

void TestItemData::stableHash()
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

void TestItemData::identityAndIconHash()
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

void TestItemData::dataMapBlob_data()
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

void TestItemData::dataMapBlob()
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

void TestItemData::valueForms()
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

void TestItemData::sizeCacheAndDecoding()
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

void TestItemData::tabRules()
{
    ItemData item;
    QVERIFY(!item.removeCustomId(20) && !item.dataMap.contains(MIME_CUSTOM_ID));
    QVERIFY(!item.removeCustomIds({{20, true}}));
    QVERIFY(item.isAutoDelete({{20, false}}));

    item.addCustomId(20);
    item.addCustomId(21);
    const QByteArray entry = item.dataMap.value(MIME_CUSTOM_ID).toByteArray();
    QSet<uint> stored;
    QVERIFY(deserializeCustomIds(entry, stored));
    QCOMPARE(stored, QSet<uint>({20, 21}));
    QVERIFY(!item.removeCustomId(30));
    QCOMPARE(item.dataMap.value(MIME_CUSTOM_ID).toByteArray(), entry);

    // Only a tab known to the map with its flag off protects.
    QVERIFY(item.isAutoDelete({}));
    QVERIFY(item.isAutoDelete({{20, true}, {99, false}}));
    QVERIFY(!item.isAutoDelete({{20, true}, {21, false}}));

    // The answer is that of the last auto-delete tab tried.
    ItemData copy = item;
    QVERIFY(!copy.removeCustomIds({{20, true}, {21, false}, {30, true}}));
    QCOMPARE(copy.customIds, QSet<uint>{21});
    QVERIFY(copy.removeCustomIds({{21, true}}));
    QVERIFY(deserializeCustomIds(copy.dataMap.value(MIME_CUSTOM_ID).toByteArray(), stored));
    QVERIFY(stored.isEmpty());
    QCOMPARE(item.customIds, QSet<uint>({20, 21}));
}

QTEST_MAIN(TestItemData)
#include "tst_itemdata.moc"
