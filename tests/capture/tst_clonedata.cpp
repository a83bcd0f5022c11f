// The rules that turn clipboard formats into an item's data map, on
// hand-made data: no clipboard, no other process.

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

namespace {

struct Clone
{
    bool ok = false;
    uint type = 0;
    QVariantMap map;
    QImage image;
};

Clone clone(const QMimeData *data, QVariantMap map = QVariantMap())
{
    Clone result;
    result.map = map;
    result.ok = cloneData(data, result.map, result.type, result.image);
    return result;
}

QImage pattern(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb(x * 7, y * 5, (x + y) & 0xFF));
    return image;
}

} // namespace

class TestCloneData : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void textStage_data();
    void textStage();
    void keepsOnlyExistingFiles();
    void webUrlsLeaveItToTheText();
    void goneFiles_data();
    void goneFiles();
    void imageIsStoredAsPng();
    void pixmapIsConvertedToo();
    void imageBeatsFilesAndText();
    void nullImageFallsThrough();
    void keepsWhatTheMapAlreadyHolds();
    void noDataMakesNothing();

private:
    QString makeFile(const QString &name);
    QUrl goneUrl(const QString &name) const { return QUrl::fromLocalFile(dir.filePath(name)); }

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

void TestCloneData::textStage_data()
{
    QTest::addColumn<QString>("text"); // null: no text format
    QTest::addColumn<QString>("html");
    QTest::addColumn<uint>("type");
    QTest::addColumn<QString>("stored");
    const QString none;
    QTest::newRow("text wins over html")
        << QStringLiteral("plain words") << QStringLiteral("<b>rich words</b>") << uint(ItemTypeText)
        << QStringLiteral("plain words");
    QTest::newRow("html only") << none
                               << QStringLiteral("<html><body><p>Hello <i>there</i></p></body></html>")
                               << uint(ItemTypeText) << QStringLiteral("Hello there");
    QTest::newRow("blanks") << QStringLiteral(" \t\n  \r\n") << none << 0u << none;
    QTest::newRow("blank html") << none << QStringLiteral("<p>   </p>") << 0u << none;
    QTest::newRow("web address") << QStringLiteral("https://example.org/a?b=c") << none << uint(ItemTypeLink)
                                 << QStringLiteral("https://example.org/a?b=c");
    QTest::newRow("ftp") << QStringLiteral("ftp://files.example.org/x") << none << uint(ItemTypeLink)
                         << QStringLiteral("ftp://files.example.org/x");
    QTest::newRow("leading space") << QStringLiteral(" https://example.org/") << none << uint(ItemTypeText)
                                   << QStringLiteral(" https://example.org/");
    QTest::newRow("two addresses") << QStringLiteral("https://a.example https://b.example") << none
                                   << uint(ItemTypeText)
                                   << QStringLiteral("https://a.example https://b.example");
    QTest::newRow("no scheme") << QStringLiteral("example.org") << none << uint(ItemTypeText)
                               << QStringLiteral("example.org");
}

void TestCloneData::textStage()
{
    QFETCH(QString, text);
    QFETCH(QString, html);
    QFETCH(uint, type);
    QFETCH(QString, stored);
    QMimeData data;
    if (!text.isNull())
        data.setText(text);
    if (!html.isNull())
        data.setHtml(html);
    const Clone result = clone(&data);
    QCOMPARE(result.ok, type != 0);
    QCOMPARE(result.type, type);
    QCOMPARE(result.map.value(MIME_TEXT).toString(), stored);
    QVERIFY(!result.map.contains(MIME_HTML));
    QVERIFY(result.image.isNull());
}

void TestCloneData::keepsOnlyExistingFiles()
{
    const QString first = makeFile(QStringLiteral("first file.txt"));
    const QString second = makeFile(QStringLiteral("second.txt"));
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(first), goneUrl(QStringLiteral("gone.txt")),
                  QUrl(QStringLiteral("https://example.org/")), QUrl::fromLocalFile(second)});
    const Clone result = clone(&data);
    QCOMPARE(result.type, uint(ItemTypeFile));
    QCOMPARE(deserializeUrls(result.map.value(MIME_URI_LIST).toByteArray()),
             (QList<QUrl>{QUrl::fromLocalFile(first), QUrl::fromLocalFile(second)}));
    // Qt reads the list as text as well; that text is not kept.
    QVERIFY(!result.map.contains(MIME_TEXT));
}

void TestCloneData::webUrlsLeaveItToTheText()
{
    QMimeData data;
    data.setUrls({QUrl(QStringLiteral("https://example.org/page"))});
    QVERIFY(!clone(&data).ok);
    // What a browser offers for a copied link: the list and the same text.
    data.setText(QStringLiteral("https://example.org/page"));
    const Clone result = clone(&data);
    QCOMPARE(result.type, uint(ItemTypeLink));
    QVERIFY(!result.map.contains(MIME_URI_LIST));
}

void TestCloneData::goneFiles_data()
{
    const QUrl a = goneUrl(QStringLiteral("gone a.txt"));
    const QUrl b = goneUrl(QStringLiteral("gone-b.txt"));
    QTest::addColumn<QString>("text"); // null: no text format
    QTest::addColumn<uint>("type");
    QTest::newRow("no text") << QString() << 0u;
    QTest::newRow("urls") << a.toString() + QLatin1Char('\n') + b.toString() + QLatin1Char('\n') << 0u;
    QTest::newRow("encoded urls") << a.toString(QUrl::FullyEncoded) + QStringLiteral("\r\n") + b.toString()
                                  << 0u;
    QTest::newRow("paths") << a.toLocalFile() + QLatin1Char('\n') + b.toLocalFile() << 0u;
    QTest::newRow("other words") << QStringLiteral("notes about the files") << uint(ItemTypeText);
    QTest::newRow("a path and more") << a.toLocalFile() + QStringLiteral("\nand more") << uint(ItemTypeText);
}

void TestCloneData::goneFiles()
{
    QFETCH(QString, text);
    QFETCH(uint, type);
    QMimeData data;
    data.setUrls({goneUrl(QStringLiteral("gone a.txt")), goneUrl(QStringLiteral("gone-b.txt"))});
    if (!text.isNull())
        data.setText(text);
    const Clone result = clone(&data);
    QCOMPARE(result.ok, type != 0);
    QCOMPARE(result.type, type);
    QVERIFY(!result.map.contains(MIME_URI_LIST));
    QCOMPARE(result.map.contains(MIME_TEXT), type != 0);
}

void TestCloneData::imageIsStoredAsPng()
{
    const QImage source = pattern(40, 30);
    QMimeData data;
    data.setImageData(source);
    const Clone result = clone(&data);
    QCOMPARE(result.type, uint(ItemTypeImage));
    const QByteArray png = result.map.value(MIME_IMAGE_PNG).toByteArray();
    QVERIFY(png.startsWith("\x89PNG"));
    QCOMPARE(QImage::fromData(png, "PNG").convertToFormat(QImage::Format_RGB32), source);
    QCOMPARE(result.image, source);
}

void TestCloneData::pixmapIsConvertedToo()
{
    QMimeData data;
    data.setImageData(QPixmap::fromImage(pattern(16, 12)));
    const Clone result = clone(&data);
    QCOMPARE(result.type, uint(ItemTypeImage));
    QCOMPARE(result.image.size(), QSize(16, 12));
}

void TestCloneData::imageBeatsFilesAndText()
{
    QMimeData data;
    data.setImageData(pattern(8, 8));
    data.setUrls({QUrl::fromLocalFile(makeFile(QStringLiteral("picture.png")))});
    data.setText(QStringLiteral("https://example.org/"));
    const Clone result = clone(&data);
    QCOMPARE(result.type, uint(ItemTypeImage));
    QVERIFY(result.map.contains(MIME_IMAGE_PNG));
    QVERIFY(!result.map.contains(MIME_URI_LIST));
    QVERIFY(!result.map.contains(MIME_TEXT));
}

void TestCloneData::nullImageFallsThrough()
{
    QMimeData data;
    data.setImageData(QImage());
    data.setText(QStringLiteral("still text"));
    const Clone result = clone(&data);
    QCOMPARE(result.type, uint(ItemTypeText));
    QVERIFY(!result.map.contains(MIME_IMAGE_PNG));
    QVERIFY(result.image.isNull());
}

void TestCloneData::keepsWhatTheMapAlreadyHolds()
{
    QMimeData data;
    data.setText(QStringLiteral("words"));
    const Clone result = clone(&data, {{MIME_EXE_PATH, QStringLiteral("/usr/bin/editor")}});
    QCOMPARE(result.map.value(MIME_EXE_PATH).toString(), QStringLiteral("/usr/bin/editor"));
    QCOMPARE(result.map.size(), 2);
}

void TestCloneData::noDataMakesNothing()
{
    QVERIFY(!clone(nullptr).ok);
    QMimeData unknown;
    unknown.setData(QStringLiteral("application/x-unknown"), "bytes");
    const Clone result = clone(&unknown);
    QVERIFY(!result.ok);
    QVERIFY(result.map.isEmpty());
}

QTEST_MAIN(TestCloneData)
#include "tst_clonedata.moc"
