#include <QApplication>
#include <QTest>

#include "common/log.h"
#include "preview/previewbase.h"
#include "preview/previewplacement.h"
#include "support/tempappfolder.h"

// Where a preview goes beside the main window, and which item it keeps to.
class TestPreview : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();

    void placement_data();
    void placement();
    void updateHashFollowsOnlyItsOwnItem_data();
    void updateHashFollowsOnlyItsOwnItem();

private:
    TempAppFolder folder;
};

void TestPreview::initTestCase()
{
    initLog(LogDebug, folder.path());
}

void TestPreview::placement_data()
{
    QTest::addColumn<QRect>("available");
    QTest::addColumn<QRect>("mainFrame");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("y");
    QTest::addColumn<QPoint>("expected");

    const QRect screen(0, 0, 1920, 1040);
    const QRect leftMain(100, 100, 680, 850);
    // Beside the window, sharing its last column, centred on the row.
    QTest::newRow("left half: to the right") << screen << leftMain << QSize(600, 400) << 400 << QPoint(779, 200);
    QTest::newRow("right half: to the left")
        << screen << QRect(1200, 100, 680, 850) << QSize(600, 400) << 400 << QPoint(600, 200);
    // Centre at x 960 of a screen whose last column is 1920.
    QTest::newRow("exact middle: to the right")
        << QRect(0, 0, 1921, 1041) << QRect(620, 100, 681, 850) << QSize(600, 400) << 400 << QPoint(1300, 200);
    QTest::newRow("wider than the room beside: over the window")
        << screen << leftMain << QSize(1500, 400) << 400 << QPoint(417, 200);
    QTest::newRow("no room on the left: at the edge")
        << screen << QRect(300, 100, 1600, 850) << QSize(600, 400) << 400 << QPoint(2, 200);
    QTest::newRow("wider than the screen") << screen << leftMain << QSize(2000, 400) << 400 << QPoint(2, 200);
    QTest::newRow("taller than the screen") << screen << leftMain << QSize(600, 1200) << 400 << QPoint(779, 2);
    QTest::newRow("low row: pushed up from the bottom")
        << screen << QRect(100, 600, 680, 400) << QSize(600, 400) << 900 << QPoint(779, 637);
    QTest::newRow("high row under a top panel")
        << QRect(0, 30, 1920, 1010) << QRect(100, 30, 680, 850) << QSize(600, 400) << 50 << QPoint(779, 32);
    QTest::newRow("second screen on the right")
        << QRect(1920, 0, 1280, 800) << QRect(2700, 50, 450, 450) << QSize(600, 400) << 300 << QPoint(2100, 100);
}

void TestPreview::placement()
{
    QFETCH(QRect, available);
    QFETCH(QRect, mainFrame);
    QFETCH(QSize, size);
    QFETCH(int, y);
    QFETCH(QPoint, expected);

    const QPoint position = previewPosition(mainFrame, available, size, y);
    QCOMPARE(position, expected);
    // Whatever fits is wholly on the screen, 2 pixels in.
    if (size.width() + 4 <= available.width() && size.height() + 4 <= available.height())
        QVERIFY(available.adjusted(2, 2, -2, -2).contains(QRect(position, size)));
}

void TestPreview::updateHashFollowsOnlyItsOwnItem_data()
{
    QTest::addColumn<uint>("oldHash");
    QTest::addColumn<uint>("expected");

    QTest::newRow("own item") << 7u << 9u;
    QTest::newRow("another item") << 8u << 7u;
}

void TestPreview::updateHashFollowsOnlyItsOwnItem()
{
    QFETCH(uint, oldHash);
    QFETCH(uint, expected);

    PreviewBase preview(nullptr, nullptr, nullptr);
    preview.setHashValue(7);
    preview.updateHash(oldHash, 9);
    QCOMPARE(preview.hashValue(), expected);
}

QTEST_MAIN(TestPreview)
#include "tst_preview.moc"
