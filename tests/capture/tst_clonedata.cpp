// The rules that turn clipboard formats into an item's data map, on
// hand-made data: no clipboard, no other process.

#include <QBuffer>
#include <QFile>
#include <QMimeData>
#include <QPixmap>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "common/mime.h"
#include "gui/clonedata.h"
#include "item/itemcodec.h"
#include "item/itemdata.h"

class TestCloneData : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void textWinsOverHtml();
    void htmlOnlyGivesItsPlainText();
    void blankTextMakesNothing();
    void linkNeedsTheBareAddress_data();
    void linkNeedsTheBareAddress();

    void keepsOnlyExistingFiles();
    void noExistingFileFallsBackToText();
    void noExistingFileAndNoTextMakesNothing();
    void textThatOnlyNamesGoneFiles_data();
    void textThatOnlyNamesGoneFiles();

    void imageIsStoredAsPng();
    void pixmapIsConvertedToo();
    void imageBeatsFilesAndText();
    void nullImageFallsThrough();

    void keepsWhatTheMapAlreadyHolds();
    void noDataMakesNothing();

private:
    QString makeFile(const QString &name);
    static QImage pattern(int width, int height);

    QTemporaryDir dir;
};

void TestCloneData::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(dir.isValid());
}

QString TestCloneData::makeFile(const QString &name)
{
    QFile file(dir.filePath(name));
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    file.write("content");
    return file.fileName();
}

QImage TestCloneData::pattern(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb(x * 7, y * 5, (x + y) & 0xFF));
    return image;
}

void TestCloneData::textWinsOverHtml()
{
    QMimeData data;
    data.setText(QStringLiteral("plain words"));
    data.setHtml(QStringLiteral("<b>rich words</b>"));
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(type, uint(ItemTypeText));
    QCOMPARE(map.value(MIME_TEXT).toString(), QStringLiteral("plain words"));
    QVERIFY(!map.contains(MIME_HTML));
    QVERIFY(image.isNull());
}

void TestCloneData::htmlOnlyGivesItsPlainText()
{
    QMimeData data;
    data.setHtml(QStringLiteral("<html><body><p>Hello <i>there</i></p></body></html>"));
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(type, uint(ItemTypeText));
    QCOMPARE(map.value(MIME_TEXT).toString(), QStringLiteral("Hello there"));
    QVERIFY(!map.contains(MIME_HTML));
}

void TestCloneData::blankTextMakesNothing()
{
    QMimeData data;
    data.setText(QStringLiteral(" \t\n  \r\n"));
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(!cloneData(&data, map, type, image));
    QCOMPARE(type, 0u);
    QVERIFY(map.isEmpty());
}

void TestCloneData::linkNeedsTheBareAddress_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<uint>("type");
    QTest::newRow("web address") << QStringLiteral("https://example.org/a?b=c") << uint(ItemTypeLink);
    QTest::newRow("ftp") << QStringLiteral("ftp://files.example.org/x") << uint(ItemTypeLink);
    QTest::newRow("leading space") << QStringLiteral(" https://example.org/") << uint(ItemTypeText);
    QTest::newRow("trailing space") << QStringLiteral("https://example.org/ ") << uint(ItemTypeText);
    QTest::newRow("two addresses") << QStringLiteral("https://a.example https://b.example")
                                   << uint(ItemTypeText);
    QTest::newRow("no scheme") << QStringLiteral("example.org") << uint(ItemTypeText);
}

void TestCloneData::linkNeedsTheBareAddress()
{
    QFETCH(QString, text);
    QFETCH(uint, type);
    QMimeData data;
    data.setText(text);
    QVariantMap map;
    uint itemType = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, itemType, image));
    QCOMPARE(itemType, type);
    QCOMPARE(map.value(MIME_TEXT).toString(), text);
}

void TestCloneData::keepsOnlyExistingFiles()
{
    const QString first = makeFile(QStringLiteral("first file.txt"));
    const QString second = makeFile(QStringLiteral("second.txt"));
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(first), QUrl::fromLocalFile(dir.filePath(QStringLiteral("gone.txt"))),
                  QUrl(QStringLiteral("https://example.org/")), QUrl::fromLocalFile(second)});
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(type, uint(ItemTypeFile));
    const QList<QUrl> kept = deserializeUrls(map.value(MIME_URI_LIST).toByteArray());
    QCOMPARE(kept, (QList<QUrl>{QUrl::fromLocalFile(first), QUrl::fromLocalFile(second)}));
    // The text a file manager puts beside the list is not kept.
    QVERIFY(!map.contains(MIME_TEXT));
}

void TestCloneData::noExistingFileFallsBackToText()
{
    // What a browser offers for a copied link: a URL list and the same text.
    QMimeData data;
    data.setUrls({QUrl(QStringLiteral("https://example.org/page"))});
    data.setText(QStringLiteral("https://example.org/page"));
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(type, uint(ItemTypeLink));
    QVERIFY(!map.contains(MIME_URI_LIST));
    QCOMPARE(map.value(MIME_TEXT).toString(), QStringLiteral("https://example.org/page"));
}

void TestCloneData::noExistingFileAndNoTextMakesNothing()
{
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(dir.filePath(QStringLiteral("missing-a"))),
                  QUrl::fromLocalFile(dir.filePath(QStringLiteral("missing-b")))});
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(!cloneData(&data, map, type, image));
    QVERIFY(map.isEmpty());
}

void TestCloneData::textThatOnlyNamesGoneFiles_data()
{
    const QUrl a = QUrl::fromLocalFile(dir.filePath(QStringLiteral("gone a.txt")));
    const QUrl b = QUrl::fromLocalFile(dir.filePath(QStringLiteral("gone-b.txt")));
    QTest::addColumn<QString>("text");
    QTest::addColumn<uint>("type");
    QTest::newRow("urls") << a.toString() + QLatin1Char('\n') + b.toString() + QLatin1Char('\n') << 0u;
    QTest::newRow("encoded urls") << a.toString(QUrl::FullyEncoded) + QStringLiteral("\r\n") + b.toString()
                                  << 0u;
    QTest::newRow("paths") << a.toLocalFile() + QLatin1Char('\n') + b.toLocalFile() << 0u;
    QTest::newRow("other words") << QStringLiteral("notes about the files") << uint(ItemTypeText);
    QTest::newRow("a path and more") << a.toLocalFile() + QStringLiteral("\nand more") << uint(ItemTypeText);
}

void TestCloneData::textThatOnlyNamesGoneFiles()
{
    // X programs offer a copied file list again as text.
    QFETCH(QString, text);
    QFETCH(uint, type);
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(dir.filePath(QStringLiteral("gone a.txt"))),
                  QUrl::fromLocalFile(dir.filePath(QStringLiteral("gone-b.txt")))});
    data.setText(text);
    QVariantMap map;
    uint itemType = 0;
    QImage image;
    QCOMPARE(cloneData(&data, map, itemType, image), type != 0);
    QCOMPARE(itemType, type);
    QCOMPARE(map.contains(MIME_TEXT), type != 0);
}

void TestCloneData::imageIsStoredAsPng()
{
    const QImage source = pattern(40, 30);
    QMimeData data;
    data.setImageData(source);
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(type, uint(ItemTypeImage));
    const QByteArray png = map.value(MIME_IMAGE_PNG).toByteArray();
    QVERIFY(png.startsWith("\x89PNG"));
    const QImage decoded = QImage::fromData(png, "PNG");
    QCOMPARE(decoded.convertToFormat(QImage::Format_RGB32), source);
    QCOMPARE(image, source);
}

void TestCloneData::pixmapIsConvertedToo()
{
    QMimeData data;
    data.setImageData(QPixmap::fromImage(pattern(16, 12)));
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(type, uint(ItemTypeImage));
    QCOMPARE(image.size(), QSize(16, 12));
}

void TestCloneData::imageBeatsFilesAndText()
{
    const QString file = makeFile(QStringLiteral("picture.png"));
    QMimeData data;
    data.setImageData(pattern(8, 8));
    data.setUrls({QUrl::fromLocalFile(file)});
    data.setText(QStringLiteral("https://example.org/"));
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(type, uint(ItemTypeImage));
    QVERIFY(map.contains(MIME_IMAGE_PNG));
    QVERIFY(!map.contains(MIME_URI_LIST));
    QVERIFY(!map.contains(MIME_TEXT));
}

void TestCloneData::nullImageFallsThrough()
{
    QMimeData data;
    data.setImageData(QImage());
    data.setText(QStringLiteral("still text"));
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(type, uint(ItemTypeText));
    QVERIFY(!map.contains(MIME_IMAGE_PNG));
    QVERIFY(image.isNull());
}

void TestCloneData::keepsWhatTheMapAlreadyHolds()
{
    QMimeData data;
    data.setText(QStringLiteral("words"));
    QVariantMap map{{MIME_EXE_PATH, QStringLiteral("/usr/bin/editor")}};
    uint type = 0;
    QImage image;
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(map.value(MIME_EXE_PATH).toString(), QStringLiteral("/usr/bin/editor"));
    QCOMPARE(map.size(), 2);
}

void TestCloneData::noDataMakesNothing()
{
    QVariantMap map;
    uint type = 0;
    QImage image;
    QVERIFY(!cloneData(nullptr, map, type, image));
    QMimeData empty;
    empty.setData(QStringLiteral("application/x-unknown"), "bytes");
    QVERIFY(!cloneData(&empty, map, type, image));
    QVERIFY(map.isEmpty());
}

QTEST_MAIN(TestCloneData)
#include "tst_clonedata.moc"
