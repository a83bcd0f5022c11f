// The capture's parts that need no X server: the rules that turn clipboard
// formats into an item's data map, on hand-made data (the common cases run
// end to end in tst_capture; these are the corners), and what the
// attribution learns about a process or says when it cannot tell.

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QPixmap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "capture/clipboardsnapshot.h"
#include "capture/clonedata.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/sourceapplication.h"
#include "item/itemcodec.h"
#include "item/itemdata.h"
#include "platform/processinfo.h"
#include "platform/windowsystem.h"

namespace {
QImage pattern()
{
    QImage image(40, 30, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(x * 7, y * 5, (x + y) & 0xFF));
    return image;
}
} // namespace

class TestCaptureParts : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void rules_data();
    void rules();
    void keepsWhatTheMapAlreadyHolds();
    void snapshotAnswersAsTheSourceReadingItOnce();
    void liveProcesses();
    void missingProcess();
    void noWindowSystemMeansNoOwner();

private:
    QString file(const QString &name) const { return dir.filePath(name); }
    QTemporaryDir dir;
};

void TestCaptureParts::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(dir.isValid());
    initLog(LogDebug, dir.path());
    for (const char *name : {"first file.txt", "second.txt", "picture.png"}) {
        QFile existing(file(name));
        QVERIFY(existing.open(QIODevice::WriteOnly));
    }
}

void TestCaptureParts::rules_data()
{
    QTest::addColumn<QString>("text"); // null: no such format
    QTest::addColumn<QString>("html");
    QTest::addColumn<QStringList>("urls"); // a leading / is a local file
    QTest::addColumn<QString>("image");    // image, pixmap, null or none
    QTest::addColumn<uint>("type");        // 0: no item
    QTest::addColumn<QString>("stored");   // the text, the files or "png"

    const QString none;
    const auto textRow = [&](const char *name, const QString &text, uint type) {
        QTest::newRow(name) << text << none << QStringList() << none << type << (type ? text : none);
    };
    textRow("ftp link", "ftp://files.example.org/x", ItemTypeLink);
    textRow("two addresses", "https://a.example https://b.example", ItemTypeText);
    textRow("no scheme", "example.org", ItemTypeText);
    textRow("space inside", "https://example.org/a b", ItemTypeText);
    textRow("mail address", "mailto:x@y.org", ItemTypeText);
    textRow("no host", "http://.x", ItemTypeText);
    textRow("nothing known", none, 0);
    QTest::newRow("text wins over html")
        << "plain words"
        << "<b>rich words</b>" << QStringList() << none << uint(ItemTypeText) << "plain words";
    QTest::newRow("blank html") << none << "<p>   </p>" << QStringList() << none << 0u << none;

    // Qt reads a file list as text as well; that text is not kept.
    const QString first = file("first file.txt"), second = file("second.txt"), gone = file("gone a.txt");
    QTest::newRow("only existing files")
        << none << none << QStringList{first, file("gone.txt"), "https://example.org/", second} << none
        << uint(ItemTypeFile) << first + ',' + second;
    // What a browser offers for a copied link: the list and the same text.
    QTest::newRow("web url alone") << none << none << QStringList{"https://example.org/p"} << none << 0u
                                   << none;
    QTest::newRow("web url and text")
        << "https://example.org/p" << none << QStringList{"https://example.org/p"} << none
        << uint(ItemTypeLink) << "https://example.org/p";

    // Files that are all gone: text that only names them makes no item either.
    const QStringList goneFiles{gone, file("gone-b.txt")};
    const QUrl a = QUrl::fromLocalFile(gone), b = QUrl::fromLocalFile(file("gone-b.txt"));
    const auto goneRow = [&](const char *name, const QString &text, uint type) {
        QTest::newRow(name) << text << none << goneFiles << none << type << (type ? text : none);
    };
    goneRow("gone, no text", none, 0);
    goneRow("gone, urls", a.toString() + '\n' + b.toString() + '\n', 0);
    goneRow("gone, encoded urls", a.toString(QUrl::FullyEncoded) + "\r\n" + b.toString(), 0);
    goneRow("gone, paths", a.toLocalFile() + '\n' + b.toLocalFile(), 0);
    goneRow("gone, other words", "notes about the files", ItemTypeText);
    goneRow("gone, a path and more", a.toLocalFile() + "\nand more", ItemTypeText);

    QTest::newRow("image") << none << none << QStringList() << "image" << uint(ItemTypeImage) << "png";
    QTest::newRow("pixmap") << none << none << QStringList() << "pixmap" << uint(ItemTypeImage) << "png";
    QTest::newRow("image beats files and text")
        << "https://example.org/" << none << QStringList{file("picture.png")} << "image"
        << uint(ItemTypeImage) << "png";
    QTest::newRow("null image falls through")
        << "still text" << none << QStringList() << "null" << uint(ItemTypeText) << "still text";
}

void TestCaptureParts::rules()
{
    QFETCH(QString, text);
    QFETCH(QString, html);
    QFETCH(QStringList, urls);
    QFETCH(QString, image);
    QFETCH(uint, type);
    QFETCH(QString, stored);

    QMimeData data;
    data.setData("application/x-unknown", "bytes");
    if (!urls.isEmpty()) {
        QList<QUrl> list;
        for (const QString &url : urls)
            list << (url.startsWith('/') ? QUrl::fromLocalFile(url) : QUrl(url));
        data.setUrls(list);
    }
    if (!text.isNull())
        data.setText(text);
    if (!html.isNull())
        data.setHtml(html);
    if (image == "image" || image == "null")
        data.setImageData(image == "image" ? pattern() : QImage());
    else if (image == "pixmap")
        data.setImageData(QPixmap::fromImage(pattern()));

    QVariantMap map;
    uint itemType = 0;
    QImage taken;
    QCOMPARE(cloneData(&data, map, itemType, taken), type != 0);
    QCOMPARE(itemType, type);
    // Exactly one payload is kept: the text, the existing files or the PNG.
    QString found;
    if (map.contains(MIME_TEXT))
        found = map.value(MIME_TEXT).toString();
    for (const QUrl &url : deserializeUrls(map.value(MIME_URI_LIST).toByteArray()))
        found += (found.isEmpty() ? "" : ",") + url.toLocalFile();
    if (map.contains(MIME_IMAGE_PNG)) {
        const QImage png = QImage::fromData(map.value(MIME_IMAGE_PNG).toByteArray(), "PNG");
        QCOMPARE(png.convertToFormat(QImage::Format_RGB32), pattern());
        QCOMPARE(taken.convertToFormat(QImage::Format_RGB32), pattern());
        found += "png";
    } else {
        QVERIFY(taken.isNull());
    }
    QCOMPARE(found, stored);
    QCOMPARE(map.size(), type ? 1 : 0);
}

void TestCaptureParts::keepsWhatTheMapAlreadyHolds()
{
    QVariantMap map{{MIME_EXE_PATH, "/usr/bin/editor"}};
    uint type = 0;
    QImage image;
    QVERIFY(!cloneData(nullptr, map, type, image));
    QMimeData data;
    data.setText("words");
    QVERIFY(cloneData(&data, map, type, image));
    QCOMPARE(map, (QVariantMap{{MIME_EXE_PATH, "/usr/bin/editor"}, {MIME_TEXT, "words"}}));
}

namespace {
// Counts the reads that reach it, as the round trips to the X server would.
class CountingMimeData : public QMimeData
{
public:
    mutable int reads = 0;

protected:
    QVariant retrieveData(const QString &mimeType, QMetaType type) const override
    {
        ++reads;
        return QMimeData::retrieveData(mimeType, type);
    }
};
} // namespace

void TestCaptureParts::snapshotAnswersAsTheSourceReadingItOnce()
{
    const auto fill = [](QMimeData &data, int kind) {
        if (kind == 0) {
            data.setText(QStringLiteral("plain \u00e9 \U0001F600"));
            data.setHtml(QStringLiteral("<b>bold</b>"));
            data.setData(MIME_IGNORE, "x");
        } else if (kind == 1) {
            data.setUrls({QUrl(QStringLiteral("file:///tmp/a b")), QUrl(QStringLiteral("https://example.org/"))});
        } else {
            QImage image(7, 5, QImage::Format_ARGB32);
            image.fill(Qt::red);
            data.setImageData(image);
        }
    };
    for (int kind = 0; kind < 3; ++kind) {
        QMimeData reference;
        CountingMimeData source;
        fill(reference, kind);
        fill(source, kind);
        const ClipboardSnapshot snapshot(&source);
        int readsAfterFirstPass = 0;
        for (int pass = 0; pass < 2; ++pass) {
            QCOMPARE(snapshot.formats(), reference.formats());
            QCOMPARE(snapshot.hasText(), reference.hasText());
            QCOMPARE(snapshot.hasHtml(), reference.hasHtml());
            QCOMPARE(snapshot.hasImage(), reference.hasImage());
            QCOMPARE(snapshot.hasUrls(), reference.hasUrls());
            QCOMPARE(snapshot.hasFormat(MIME_IGNORE), reference.hasFormat(MIME_IGNORE));
            QCOMPARE(snapshot.text(), reference.text());
            QCOMPARE(snapshot.html(), reference.html());
            QCOMPARE(snapshot.urls(), reference.urls());
            QCOMPARE(snapshot.imageData(), reference.imageData());
            QCOMPARE(snapshot.data(MIME_IGNORE), reference.data(MIME_IGNORE));
            if (pass == 0)
                readsAfterFirstPass = source.reads;
        }
        // Asked again, the snapshot answers from what it already read.
        QCOMPARE(source.reads, readsAfterFirstPass);
    }
}

void TestCaptureParts::liveProcesses()
{
    QCOMPARE(platform::currentProcessId(), QCoreApplication::applicationPid());
    QString path;
    QVERIFY(platform::executablePath(platform::currentProcessId(), path));
    QCOMPARE(path, QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());

    // A child whose program file is deleted while it runs keeps its path.
    const QString copy = dir.filePath("short lived");
    QVERIFY(QFile::copy(QStandardPaths::findExecutable("sleep"), copy));
    QProcess child;
    child.start(copy, {"30"});
    QVERIFY(child.waitForStarted());
    QVERIFY(QFile::remove(copy));
    QCOMPARE(getParentPid(child.processId()), platform::currentProcessId());
    QVERIFY(getPathByPid(child.processId(), path));
    QCOMPARE(path, QFileInfo(dir.path()).canonicalFilePath() + "/short lived");
    child.kill();
    child.waitForFinished();
}

void TestCaptureParts::missingProcess()
{
    // Above any pid the kernel hands out.
    const platform::ProcessId gone = 0x7FFFFFF0;
    QString path = "untouched";
    platform::PathError error = platform::PathError::None;
    QVERIFY(!platform::executablePath(gone, path, &error));
    QCOMPARE(error, platform::PathError::OpenFailed);
    QCOMPARE(path, "untouched");
    QCOMPARE(getParentPid(gone), 0);
    QCOMPARE(getParentPid(0), 0);
}

void TestCaptureParts::noWindowSystemMeansNoOwner()
{
    QCOMPARE(platform::clipboardOwnerWindow(), 0u);
    QCOMPARE(platform::foregroundWindow(), 0u);
    QCOMPARE(platform::windowProcessId(0), 0);
    QPixmap pixmap;
    QString exePath;
    QVERIFY(!getFrontProcessIcon(pixmap, exePath));
    QVERIFY(exePath.isEmpty());
    QFile log(logFilePath());
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QByteArray text = log.readAll();
    QVERIFY(text.contains("Failed to get clipbaardowner window."));
    QVERIFY(text.contains("Failed to get GetForegroundWindow window."));
}

QTEST_MAIN(TestCaptureParts)
#include "tst_captureparts.moc"
