#include <QBuffer>
#include <QDataStream>
#include <QFile>
#include <QHash>
#include <QPainter>
#include <QPixmap>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QtTest>

#include "common/log.h"
#include "common/mime.h"
#include "common/textutils.h"
#include "item/datastreamversion.h"
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

ItemData reloaded(const ItemData &item)
{
    ItemData copy;
    copy.hashValue = item.hashValue;
    deserializeDataMap(serializeDataMap(item.dataMap), copy.dataMap);
    return copy;
}

} // namespace

class TestItemData : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void stableHashMatchesQt();
    void identityHash();
    void identitySurvivesReload();
    void iconHash();

    void dataMapLayout();
    void dataMapCorruption_data();
    void dataMapCorruption();
    void urlsForm();
    void customIdForm();
    void ocrForm();

    void accessors();
    void dataSizeCache();
    void customIdRules();

    void textHelpers();

private:
    QString logText() const;

    TempAppFolder folder;
};

void TestItemData::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    initLog(LogDebug, folder.path());
}

QString TestItemData::logText() const
{
    QFile file(logFilePath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void TestItemData::stableHashMatchesQt()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 4, 0) && QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
    QRandomGenerator random(20240611);
    for (int size = 0; size <= 2000; size += (size < 64 ? 1 : 7)) {
        QByteArray bytes(size, Qt::Uninitialized);
        for (char &byte : bytes)
            byte = char(random.bounded(256));
        QCOMPARE(stableBytesHash(bytes.constData(), size_t(bytes.size())),
                 uint(qHash(QByteArrayView(bytes), 0)));
        const QString text = QString::fromLatin1(bytes.toBase64());
        QCOMPARE(stableBytesHash(text.constData(), size_t(text.size()) * 2),
                 uint(qHash(QStringView(text), 0)));
    }
#endif
    // Stored hashes are primary keys: these must never change.
    QCOMPARE(stableBytesHash("", 0), 0x00000000U);
    QCOMPARE(stableBytesHash("a", 1), 0xd36b6b11U);
    QCOMPARE(stableBytesHash("abcdefgh", 8), 0xff41aa98U);
    QCOMPARE(stableBytesHash("abcdefghi", 9), 0xa6e91208U);
    QCOMPARE(stableBytesHash("hello world, this is vorlik", 27), 0x96ed8a87U);
}

void TestItemData::identityHash()
{
    QCOMPARE(hashDataMap(QVariantMap(), identityKeys()), 666U);
    QCOMPARE(hashDataMap({{MIME_EXE_PATH, QStringLiteral("/usr/bin/a")}, {MIME_REMARK, QStringLiteral("r")}},
                         identityKeys()),
             666U);

    // The source program, remark and title stay outside the identity.
    const QVariantMap fromA{{MIME_TEXT, QStringLiteral("same")},
                            {MIME_EXE_PATH, QStringLiteral("/usr/bin/a")}};
    QVariantMap fromB{{MIME_TEXT, QStringLiteral("same")}, {MIME_EXE_PATH, QStringLiteral("/usr/bin/b")}};
    QCOMPARE(hashDataMap(fromA, identityKeys()), hashDataMap(fromB, identityKeys()));
    fromB.insert(MIME_REMARK, QStringLiteral("note"));
    fromB.insert(MIME_WEB_TITLE, QStringLiteral("title"));
    QCOMPARE(hashDataMap(fromA, identityKeys()), hashDataMap(fromB, identityKeys()));

    // A link and a text of the same string: the type does not enter.
    ItemData link, text;
    link.itemType = ItemTypeLink;
    text.itemType = ItemTypeText;
    link.dataMap = text.dataMap = {{MIME_TEXT, QStringLiteral("https://example.org")}};
    QCOMPARE(hashDataMap(link.dataMap, identityKeys()), hashDataMap(text.dataMap, identityKeys()));

    // Written out for a single entry, to pin key and value order and the seed.
    const QByteArray utf8 = QStringLiteral("same").toUtf8();
    const uint expected = hashCombine(hashCombine(666, stableBytesHash(MIME_TEXT.constData(), 20)),
                                      stableBytesHash(utf8.constData(), size_t(utf8.size())));
    QCOMPARE(hashDataMap({{MIME_TEXT, QStringLiteral("same")}}, identityKeys()), expected);
    QVERIFY(hashDataMap({{MIME_TEXT, QStringLiteral("a")}}, identityKeys()) !=
            hashDataMap({{MIME_URI_LIST, QByteArray("a")}}, identityKeys()));
}

void TestItemData::identitySurvivesReload()
{
    ItemData item;
    item.dataMap = {{MIME_TEXT, QStringLiteral("emoji \U0001F600 and \u4E2D\u6587")},
                    {MIME_IMAGE_PNG, pngOf(Qt::red)},
                    {MIME_EXE_PATH, QString()}};
    item.hashValue = hashDataMap(item.dataMap, identityKeys());
    const ItemData copy = reloaded(item);
    QCOMPARE(copy.dataMap.value(MIME_TEXT).typeId(), int(QMetaType::QByteArray));
    QCOMPARE(hashDataMap(copy.dataMap, identityKeys()), item.hashValue);
    QCOMPARE(copy.text(), item.text());
}

void TestItemData::iconHash()
{
    const QByteArray png = pngOf(Qt::blue);
    const uint raw = stableBytesHash(png.constData(), size_t(png.size()));
    QCOMPARE(hashBytes(png), (raw - 0x61C7DF21U) ^ 666U);
    QVERIFY(hashBytes(png) != hashBytes(pngOf(Qt::green)));
}

void TestItemData::dataMapLayout()
{
    // Big-endian count, then (UTF-16 key, bytes) pairs in key order.
    const QVariantMap map{{QStringLiteral("b"), QByteArray("xy")},
                          {QStringLiteral("a"), QStringLiteral("\u00e9")}};
    const QByteArray expected = QByteArray::fromHex("00000002"
                                                    "00000002"
                                                    "0061"
                                                    "00000002"
                                                    "c3a9"
                                                    "00000002"
                                                    "0062"
                                                    "00000002"
                                                    "7879");
    QCOMPARE(serializeDataMap(map), expected);

    QVariantMap back;
    QVERIFY(deserializeDataMap(expected, back));
    QCOMPARE(back.keys(), map.keys());
    QCOMPARE(back.value(QStringLiteral("a")).toString(), QStringLiteral("\u00e9"));
    QCOMPARE(back.value(QStringLiteral("b")).toByteArray(), QByteArray("xy"));
}

void TestItemData::dataMapCorruption_data()
{
    QTest::addColumn<QByteArray>("blob");
    QTest::addColumn<bool>("complete");
    QTest::addColumn<int>("entries");
    QTest::addColumn<QString>("logged");

    const QByteArray three = serializeDataMap({{QStringLiteral("a"), QByteArray("1")},
                                               {QStringLiteral("b"), QByteArray("22")},
                                               {QStringLiteral("c"), QByteArray("333")}});
    QTest::newRow("count 0") << QByteArray::fromHex("00000000") << true << 0 << QString();
    QTest::newRow("negative count") << QByteArray::fromHex("ffffff00aabb") << true << 0 << QString();
    QTest::newRow("empty blob") << QByteArray() << false << 0 << QStringLiteral("Failed to read size");
    QTest::newRow("cut in third value")
        << three.left(three.size() - 1) << false << 2 << QStringLiteral("fail to read bytes");
    QTest::newRow("cut in third key")
        << three.left(three.size() - 8) << false << 2 << QStringLiteral("fail to read mime");
    QTest::newRow("count beyond data")
        << QByteArray::fromHex("7fffffff") << false << 0 << QStringLiteral("fail to read mime");
}

void TestItemData::dataMapCorruption()
{
    QFETCH(QByteArray, blob);
    QFETCH(bool, complete);
    QFETCH(int, entries);
    QFETCH(QString, logged);

    const qsizetype logBefore = logText().size();
    QVariantMap map{{QStringLiteral("stale"), QByteArray("x")}};
    QCOMPARE(deserializeDataMap(blob, map), complete);
    QCOMPARE(map.size(), entries);
    const QString newLog = logText().mid(logBefore);
    if (logged.isEmpty())
        QVERIFY(!newLog.contains(QStringLiteral("Corrupted data")));
    else
        QVERIFY2(newLog.contains(QStringLiteral("Corrupted data: ") + logged), qPrintable(newLog));
}

void TestItemData::urlsForm()
{
    const QList<QUrl> urls{QUrl::fromLocalFile(QStringLiteral("/tmp/a b.txt")),
                           QUrl::fromLocalFile(QStringLiteral("/home/\u00fc/x"))};
    const QByteArray bytes = serializeUrls(urls);
    QCOMPARE(deserializeUrls(bytes), urls);
    // Never a partial list.
    QVERIFY(deserializeUrls(bytes.left(bytes.size() - 3)).isEmpty());
    QVERIFY(deserializeUrls(QByteArray::fromHex("00000005")).isEmpty());
    QVERIFY(deserializeUrls(QByteArray()).isEmpty());

    ItemData item;
    QVERIFY(item.urls().isEmpty());
    item.dataMap.insert(MIME_URI_LIST, bytes);
    QCOMPARE(reloaded(item).urls(), urls);
}

void TestItemData::customIdForm()
{
    const QSet<uint> ids{20, 21, 4000000000U};
    const QByteArray bytes = serializeCustomIds(ids);
    QCOMPARE(bytes.size(), 4 + 3 * 4);
    QSet<uint> back{99};
    QVERIFY(deserializeCustomIds(bytes, back));
    QCOMPARE(back, ids);
    QVERIFY(!deserializeCustomIds(bytes.left(bytes.size() - 2), back));
    QVERIFY(back.isEmpty());
}

void TestItemData::ocrForm()
{
    const QList<OCRResult> results{
        {QPolygon({QPoint(1, 2), QPoint(30, 2), QPoint(30, -4)}), QStringLiteral("Hi \u4F60")},
        {QPolygon(), QString()}};
    const QByteArray bytes = serializeOcrResults(results);
    QCOMPARE(deserializeOcrResults(bytes), results);
    QVERIFY(deserializeOcrResults(bytes.left(bytes.size() - 5)).isEmpty());
    QVERIFY(deserializeOcrResults(serializeOcrResults({})).isEmpty());
}

void TestItemData::accessors()
{
    ItemData item;
    QCOMPARE(item.hashValue, 0U);
    QCOMPARE(item.itemType, uint(ItemTypeNone));
    QCOMPARE(item.createTime, 0ULL);
    QVERIFY(item.text().isEmpty() && item.html().isEmpty() && item.remark().isEmpty());
    QVERIFY(!item.hasWebTitle() && !item.hasOcrResult());
    QVERIFY(item.image().isNull());

    item.dataMap.insert(MIME_WEB_TITLE, QString());
    QVERIFY(!item.hasWebTitle());
    item.dataMap.insert(MIME_WEB_TITLE, QStringLiteral("\u6807\u9898"));
    item.dataMap.insert(MIME_HTML, QStringLiteral("<b>x</b>"));
    item.setRemark(QString());
    QVERIFY(item.dataMap.contains(MIME_REMARK));
    item.setRemark(QStringLiteral("note"));
    const ItemData loaded = reloaded(item);
    QVERIFY(loaded.hasWebTitle());
    QCOMPARE(loaded.webTitle(), QStringLiteral("\u6807\u9898"));
    QCOMPARE(loaded.html(), QStringLiteral("<b>x</b>"));
    QCOMPARE(loaded.remark(), QStringLiteral("note"));

    item.dataMap.insert(MIME_IMAGE_PNG, pngOf(Qt::red));
    QCOMPARE(item.image().size(), QSize(8, 6));
    QCOMPARE(item.image().pixelColor(0, 0), QColor(Qt::red));
    item.dataMap.insert(MIME_IMAGE_PNG, QByteArray("not a png"));
    QVERIFY(item.image().isNull());

    const qulonglong before = qulonglong(QDateTime::currentMSecsSinceEpoch());
    item.updateLastActiveTime();
    QVERIFY(item.lastActiveTime >= before);
}

void TestItemData::dataSizeCache()
{
    ItemData item;
    item.dataMap = {{MIME_TEXT, QStringLiteral("\u00e9t\u00e9")}, {MIME_EXE_PATH, QStringLiteral("/bin/x")}};
    QCOMPARE(item.dataSize(), 5 + 6);
    QCOMPARE(sizeOfDataMap(item.dataMap), 11);

    // The setters leave the first computation in place, on purpose.
    item.setRemark(QStringLiteral("a long remark"));
    item.addCustomId(20);
    QCOMPARE(item.dataSize(), 11);

    // A reload computes afresh from the blob's byte arrays.
    const ItemData loaded = reloaded(item);
    QCOMPARE(loaded.dataSize(), 11 + 13 + 8);
    item.setDataSize(-1);
    QCOMPARE(item.dataSize(), 11 + 13 + 8);
}

void TestItemData::customIdRules()
{
    ItemData item;
    QVERIFY(!item.removeCustomId(20));
    QVERIFY(!item.dataMap.contains(MIME_CUSTOM_ID));
    QVERIFY(item.isAutoDelete({{20, false}}));
    QVERIFY(!item.removeCustomIds({{20, true}}));

    item.addCustomId(20);
    item.addCustomId(21);
    QSet<uint> stored;
    QVERIFY(deserializeCustomIds(item.dataMap.value(MIME_CUSTOM_ID).toByteArray(), stored));
    QCOMPARE(stored, QSet<uint>({20, 21}));

    const QByteArray entry = item.dataMap.value(MIME_CUSTOM_ID).toByteArray();
    QVERIFY(!item.removeCustomId(30));
    QCOMPARE(item.dataMap.value(MIME_CUSTOM_ID).toByteArray(), entry);

    QVERIFY(item.isAutoDelete({}));
    QVERIFY(item.isAutoDelete({{20, true}, {99, false}}));
    QVERIFY(!item.isAutoDelete({{20, true}, {21, false}}));

    // The answer is that of the last auto-delete tab tried.
    ItemData copy = item;
    QVERIFY(!copy.removeCustomIds({{20, true}, {21, false}, {30, true}}));
    QCOMPARE(copy.customIds, QSet<uint>({21}));
    QVERIFY(copy.removeCustomIds({{21, true}}));
    QVERIFY(copy.customIds.isEmpty());
    QVERIFY(deserializeCustomIds(copy.dataMap.value(MIME_CUSTOM_ID).toByteArray(), stored));
    QVERIFY(stored.isEmpty());
    QVERIFY(!copy.removeCustomIds({}));
    // The original shares nothing that the copy changed.
    QCOMPARE(item.customIds, QSet<uint>({20, 21}));
}

void TestItemData::textHelpers()
{
    QVERIFY(isUrl(QStringLiteral("https://example.org/a?b=c")));
    QVERIFY(isUrl(QStringLiteral("ftp://host.example/file")));
    QVERIFY(!isUrl(QStringLiteral(" https://example.org")));
    QVERIFY(!isUrl(QStringLiteral("https://example.org/a b")));
    QVERIFY(!isUrl(QStringLiteral("mailto:x@example.org")));
    QVERIFY(!isUrl(QStringLiteral("http://.x")));

    QVERIFY(isNotBlank(QStringLiteral(" x ")));
    QVERIFY(!isNotBlank(QStringLiteral(" \t\n")));

    QCOMPARE(imageFormatOf(MIME_IMAGE_PNG), QStringLiteral("png"));
    QCOMPARE(imageFormatOf(QStringLiteral("image/")), QString());
    QCOMPARE(imageFormatOf(QStringLiteral("text/plain")), QString());

    const QString random = randomString(64);
    QCOMPARE(random.size(), 64);
    QVERIFY(QRegularExpression(QStringLiteral("^[A-Z0-9]+$")).match(random).hasMatch());
    QVERIFY(randomString(0).isEmpty());

    QByteArray png;
    QVERIFY(!pixmapToPng(QPixmap(), png));
    QVERIFY(pixmapToPng(QPixmap(QSize(3, 3)), png));
    QVERIFY(png.startsWith("\x89PNG"));
}

QTEST_MAIN(TestItemData)
#include "tst_itemdata.moc"
