// The capture's parts that need no X server: the snapshot it reads the clipboard through, the
// image forms only a program's own data has (the rules run end to end in tst_capture), and what
// the attribution learns from a process or a desktop entry, or says when it cannot tell.

#include <QDir>
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
#include "item/itemdata.h"
#include "platform/windowicon.h"

namespace {
QImage pattern()
{
    QImage image(40, 30, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(x * 7, y * 5, (x + y) & 0xFF));
    return image;
}

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

class TestCaptureParts : public QObject
{
    Q_OBJECT
    QTemporaryDir dir;
    QString file(const QString &name) const { return dir.filePath(name); }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(dir.isValid());
        initLog(LogDebug, dir.path());
    }

    void throughSnapshot_data()
    {
        QTest::addColumn<QVariant>("image");
        QTest::addColumn<uint>("type");
        QTest::newRow("pixmap") << QVariant(QPixmap::fromImage(pattern())) << uint(ItemTypeImage);
        QTest::newRow("null image falls through to the text") << QVariant(QImage()) << uint(ItemTypeText);
    }

    void throughSnapshot()
    {
        QFETCH(QVariant, image);
        QFETCH(uint, type);
        const auto fill = [&](QMimeData &data) {
            data.setUrls({QUrl("https://example.org/"), QUrl::fromLocalFile(file("gone"))});
            data.setText("plain wörds \U0001F600");
            data.setHtml("<b>rich</b>");
            data.setImageData(image);
        };
        const auto answers = [](const QMimeData &data) {
            const QVariant image = qvariant_cast<QImage>(data.imageData());
            return QVariantList{data.formats(), data.text(), data.html(), QVariant::fromValue(data.urls()),
                                image};
        };
        // The capture reads through a snapshot: it answers as the system's data
        // would, and asks the system for each payload once.
        QMimeData reference;
        CountingMimeData source;
        fill(reference);
        fill(source);
        const ClipboardSnapshot snapshot(&source);
        QCOMPARE(answers(snapshot), answers(reference));
        const int reads = source.reads;
        // An image is kept as PNG, whatever form it came in; the capture puts the
        // source path in first, and it stays.
        QVariantMap map{{MIME_EXE_PATH, "/usr/bin/editor"}};
        uint itemType = 0;
        QImage taken;
        QVERIFY(!cloneData(nullptr, map, itemType, taken));
        QVERIFY(cloneData(&snapshot, map, itemType, taken));
        QCOMPARE(source.reads, reads);
        QCOMPARE(itemType, type);
        QCOMPARE(map.keys(),
                 (QStringList{MIME_EXE_PATH, type == ItemTypeImage ? MIME_IMAGE_PNG : MIME_TEXT}));
        if (type == ItemTypeImage) {
            const QImage png = QImage::fromData(map.value(MIME_IMAGE_PNG).toByteArray(), "PNG");
            QCOMPARE(png.convertToFormat(QImage::Format_RGB32), pattern());
            QCOMPARE(taken.convertToFormat(QImage::Format_RGB32), pattern());
        } else {
            QVERIFY(taken.isNull());
            QCOMPARE(map.value(MIME_TEXT).toString(), "plain wörds \U0001F600");
        }
    }

    void processLookups()
    {
        // A program whose file is deleted while it runs (an update, say) keeps its path.
        const QString copy = file("short lived");
        QVERIFY(QFile::copy(QStandardPaths::findExecutable("sleep"), copy));
        QProcess child;
        child.start(copy, {"30"});
        QVERIFY(child.waitForStarted());
        QVERIFY(QFile::remove(copy));
        QString path;
        QVERIFY(getPathByPid(child.processId(), path));
        QCOMPARE(path, QFileInfo(dir.path()).canonicalFilePath() + "/short lived");
        child.kill();
        child.waitForFinished();
        // Above any pid the kernel hands out.
        QVERIFY(!getPathByPid(0x7FFFFFF0, path));
        QCOMPARE(getParentPid(0x7FFFFFF0), 0);
        QCOMPARE(getParentPid(0), 0);
    }

    void iconFromDesktopEntry()
    {
        // No window, no theme icon of its name, but a desktop entry; an action's Exec names no program.
        const QString dataDir = file("xdg");
        QVERIFY(QDir().mkpath(dataDir + "/applications"));
        QImage picture(48, 48, QImage::Format_ARGB32);
        picture.fill(Qt::magenta);
        QVERIFY(picture.save(dataDir + "/probe.png"));
        QFile entry(dataDir + "/applications/probe.desktop");
        QVERIFY(entry.open(QIODevice::WriteOnly));
        const QByteArray icon = "\nIcon=" + dataDir.toUtf8() + "/probe.png\n";
        entry.write("[Desktop Entry]\nType=Application\nExec=env PROBE=1 /opt/probe/vorlik-probe %U" + icon +
                    "[Desktop Action other]\nExec=vorlik-probe-other" + icon);
        entry.close();
        qputenv("XDG_DATA_DIRS", dataDir.toUtf8());
        QPixmap pixmap;
        QString failure;
        QVERIFY(platform::programIcon(0, "/elsewhere/vorlik-probe", pixmap, failure));
        QCOMPARE(pixmap.width(), 32);
        QCOMPARE(QColor(pixmap.toImage().pixel(8, 8)), QColor(Qt::magenta));
        QVERIFY(!platform::programIcon(0, "/usr/bin/vorlik-probe-other", pixmap, failure));
        QVERIFY(failure.contains("vorlik-probe-other"));
    }

    void noWindowSystemMeansNoOwner()
    {
        QPixmap pixmap;
        QString exePath;
        QVERIFY(!getFrontProcessIcon(pixmap, exePath));
        QVERIFY(exePath.isEmpty() && pixmap.isNull());
    }
};

QTEST_MAIN(TestCaptureParts)
#include "tst_captureparts.moc"
