#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLayout>
#include <QMimeData>
#include <QPainter>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>

#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "common/mime.h"
#include "ocr/overlaytext.h"
#include "preview/imagelabel.h"
#include "preview/previewimage.h"
#include "support/tempappfolder.h"

// The image preview: zoom ladder and toolbar, opening view, wheel, pan, turns
// and copy, and the recognised text over the picture.
class TestImageView : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { initLog(LogDebug, folder.path()); }
    void zoom_data();
    void zoom();
    void wheelStep_data();
    void wheelStep();
    void panHeldAtEdgesAndDoubleClick();
    void turnsAndCopy();
    void selectAndCopy_data();
    void selectAndCopy();
    void boxesAndTurns();
    void searchBandsDeepen();

private:
    TempAppFolder folder;
};

namespace {

struct Preview
{
    QImage image;
    ClipboardWriter writer;
    PreviewImage window{nullptr, &writer, nullptr};
    ImageLabel *label = window.imageLabel();

    // `size` with a red top left corner, in a 640x400 picture area that fits the 800x600 screen.
    Preview(const QString &folder, const QSize &size, const QList<OCRResult> &results = {})
        : image(size, QImage::Format_RGB32), writer(folder)
    {
        image.fill(Qt::blue);
        if (!image.isNull())
            QPainter(&image).fillRect(0, 0, 10, 10, Qt::red);
        window.setImage(image, results);
        window.layout()->activate();
        window.resize(QSize(640, 400) + (window.size() - label->size()));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        paint();
    }
    QToolButton *button(const char *name) const { return window.findChild<QToolButton *>(name); }
    void click(const char *name, int times = 1)
    {
        for (int i = 0; i < times; ++i)
            QTest::mouseClick(button(name), Qt::LeftButton);
    }
    // The opening fit and a wheel anchor wait for a paint.
    void paint() { label->grab(); }
    // As read: the percentage, + and - for the zoom buttons on, the toggle's tooltip.
    QString toolbar() const
    {
        QString percent;
        for (QLabel *text : window.findChildren<QLabel *>())
            percent = text->text().endsWith(u'%') ? text->text() : percent;
        return percent + u' ' + (button("zoomInToolButton")->isEnabled() ? u"+" : u"") +
               (button("zoomOutToolButton")->isEnabled() ? u"-" : u"") + u' ' +
               button("fitOrOriginalToolButton")->toolTip();
    }
};

OCRResult textBox(int x, int y, const QString &text = QStringLiteral("0123456789"))
{
    return {QPolygon({QPoint(x, y), QPoint(x + 200, y), QPoint(x + 200, y + 20), QPoint(x, y + 20)}), text};
}

// A 600x300 picture shown at 100% with its top left at (20, 50) of the view.
// Six boxes of 200x20 in list order: 0 and 1 on one line (their lower edges
// 2 pixels apart), 2 and 3 on the next, then 4 and 5 alone. A result without
// text comes first and a three-point box last.
QList<OCRResult> sixBoxes()
{
    QList<OCRResult> results{textBox(300, 250, QString())};
    for (const QPoint &corner :
         {QPoint(10, 10), QPoint(250, 12), QPoint(10, 60), QPoint(250, 60), QPoint(10, 110), QPoint(10, 160)})
        results << textBox(corner.x(), corner.y());
    return results << OCRResult{QPolygon({QPoint(0, 0), QPoint(50, 0), QPoint(50, 20)}),
                                QStringLiteral("lost")};
}

// Over the right half of character `ch` of box `box`; the ten digits are
// equally wide.
QPoint at(int box, int ch)
{
    return sixBoxes().at(box + 1).box.first() + QPoint(20 + 20 * ch + 15, 50 + 10);
}

struct OcrPreview : Preview
{
    explicit OcrPreview(const QString &folder) : Preview(folder, QSize(600, 300), sixBoxes()) {}
    QList<OverlayText *> overlays() const { return label->findChildren<OverlayText *>(); }
    // The path's first point is pressed, the others are moved through.
    void drag(const QList<QPoint> &path)
    {
        QTest::mousePress(label, Qt::LeftButton, Qt::NoModifier, path.first());
        for (const QPoint &point : path.mid(1))
            QTest::mouseMove(label, point);
        QTest::mouseRelease(label, Qt::LeftButton, Qt::NoModifier, path.last());
    }
};

} // namespace

void TestImageView::zoom_data()
{
    QTest::addColumn<QSize>("imageSize");
    QTest::addColumn<bool>("toggle");
    QTest::addColumn<int>("steps");
    QTest::addColumn<QString>("toolbar");
    const QSize large(2000, 1200);
    QTest::newRow("small opens at actual size") << QSize(200, 100) << false << 0 << "100% + 适应窗口";
    QTest::newRow("small, fitted") << QSize(200, 100) << true << 0 << "320% +- 原始大小";
    QTest::newRow("large opens fitted") << large << false << 0 << "32% + 原始大小";
    QTest::newRow("fit near 1 counts as actual size") << QSize(660, 400) << false << 0 << "96% + 适应窗口";
    QTest::newRow("no picture: nothing to fit") << QSize() << true << 0 << "100% + 适应窗口";
    // The percentage is cut off: 75.13, 4978.5.
    QTest::newRow("-3") << large << true << -3 << "75% +- 原始大小";
    QTest::newRow("1") << large << true << 1 << "110% +- 原始大小";
    QTest::newRow("10") << large << true << 10 << "259% +- 原始大小";
    QTest::newRow("41") << large << true << 41 << "4978% +- 原始大小";
    QTest::newRow("42, past 50") << large << true << 42 << "5476% - 原始大小";
    // 640/2000 is not on the ladder from 1.
    QTest::newRow("fit, 10") << large << false << 10 << "82% +- 原始大小";
}

// As many steps back must give the very same double, or the toggle's band
// and the zoom limits would see a drifted factor.
void TestImageView::zoom()
{
    QFETCH(QSize, imageSize);
    QFETCH(bool, toggle);
    QFETCH(int, steps);
    QFETCH(QString, toolbar);

    Preview p(folder.path(), imageSize);
    if (toggle)
        p.click("fitOrOriginalToolButton");
    const double base = p.label->scaleFactor();
    p.click(steps > 0 ? "zoomInToolButton" : "zoomOutToolButton", qAbs(steps));
    QCOMPARE(p.toolbar(), toolbar);
    p.click(steps > 0 ? "zoomOutToolButton" : "zoomInToolButton", qAbs(steps));
    QVERIFY(p.label->scaleFactor() == base);
}

void TestImageView::wheelStep_data()
{
    QTest::addColumn<QPoint>("pointer");
    QTest::addColumn<int>("events");
    QTest::addColumn<QPoint>("kept");
    // 2560x800 opens at 25%, a band 640x200 across the middle of the view.
    QTest::newRow("over the picture: keeps that point") << QPoint(500, 200) << 1 << QPoint(2000, 400);
    QTest::newRow("twice before a paint") << QPoint(500, 200) << 2 << QPoint(2000, 400);
    QTest::newRow("above the picture: keeps the centre") << QPoint(100, 50) << 1 << QPoint(1280, 400);
}

void TestImageView::wheelStep()
{
    QFETCH(QPoint, pointer);
    QFETCH(int, events);
    QFETCH(QPoint, kept);

    Preview p(folder.path(), QSize(2560, 800));
    const QPoint keptAt = p.label->widgetPosition(kept);
    // All before one paint, as in a fast turn of the wheel.
    for (int i = 0; i < events; ++i) {
        QWheelEvent event(pointer, p.label->mapToGlobal(pointer), QPoint(), QPoint(0, 120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(p.label, &event);
    }
    p.paint();
    QVERIFY(p.label->scaleFactor() > 0.25);
    const int moved = (p.label->widgetPosition(kept) - keptAt).manhattanLength();
    QVERIFY2(moved <= 3, qPrintable(QString::number(moved)));
}

void TestImageView::panHeldAtEdgesAndDoubleClick()
{
    Preview p(folder.path(), QSize(2560, 800));
    const double opening = p.label->scaleFactor();
    p.click("fitOrOriginalToolButton");
    QTest::mousePress(p.label, Qt::LeftButton, Qt::NoModifier, QPoint(300, 200));
    QTest::mouseMove(p.label, QPoint(-2700, 1100));
    QTest::mouseRelease(p.label, Qt::LeftButton, Qt::NoModifier, QPoint(-2700, 1100));
    p.paint();
    // Half the picture less half the view: 1280 - 320 and 400 - 200.
    QCOMPARE(p.label->panOffset(), QPoint(-960, 200));

    QTest::mouseDClick(p.label, Qt::LeftButton, Qt::NoModifier, QPoint(300, 200));
    p.paint();
    QVERIFY(p.label->scaleFactor() == opening);
    QCOMPARE(p.label->panOffset(), QPoint());
}

// Turns go clockwise; Ctrl+C copies the picture as captured, not as shown.
void TestImageView::turnsAndCopy()
{
    Preview p(folder.path(), QSize(60, 40));
    // One turn puts the red corner of the centred picture at its top right.
    p.click("rotateToolButton");
    QCOMPARE(p.label->grab().toImage().pixelColor(337, 172), QColor(Qt::red));

    QGuiApplication::clipboard()->clear();
    QTest::keyClick(p.label, Qt::Key_C, Qt::ControlModifier);
    const QMimeData *copied = QGuiApplication::clipboard()->mimeData();
    QVERIFY(copied && copied->hasImage());
    QCOMPARE(qvariant_cast<QImage>(copied->imageData()).convertToFormat(QImage::Format_RGB32), p.image);

    // Four turns show it as captured again.
    p.click("rotateToolButton", 3);
    QCOMPARE(p.label->grab().toImage().pixelColor(292, 182), QColor(Qt::red));
}

void TestImageView::selectAndCopy_data()
{
    QTest::addColumn<QList<QPoint>>("path");
    QTest::addColumn<bool>("all");
    QTest::addColumn<QString>("copied");
    QTest::newRow("5 back to 2") << QList<QPoint>{at(5, 3), at(2, 6)} << false
                                 << "6789 0123456789\n0123456789\n0123";
    QTest::newRow("right to left in one box") << QList<QPoint>{at(1, 7), at(1, 2)} << false << "234567";
    QTest::newRow("left to right in one box") << QList<QPoint>{at(1, 2), at(1, 7)} << false << "234567";
    QTest::newRow("leaving all boxes keeps the last end")
        << QList<QPoint>{at(0, 1), at(3, 4), QPoint(630, 390)} << false
        << "123456789 0123456789\n0123456789 01234";
    QTest::newRow("all") << QList<QPoint>{at(4, 1), at(4, 3)} << true
                         << QStringLiteral("%1 %1\n%1 %1\n%1\n%1").arg(QStringLiteral("0123456789"));
    // Copying all text needs a selection; the clipboard keeps what it had.
    QTest::newRow("leaving at once keeps nothing")
        << QList<QPoint>{at(2, 4), QPoint(630, 390)} << true << "before";
    QTest::newRow("click") << QList<QPoint>{at(2, 4)} << true << "before";
    QTest::newRow("press beside the text") << QList<QPoint>{QPoint(25, 55), at(1, 5)} << true << "before";
}

// The copied text is a new item: it goes out without the program's marker.
void TestImageView::selectAndCopy()
{
    QFETCH(QList<QPoint>, path);
    QFETCH(bool, all);
    QFETCH(QString, copied);
    OcrPreview p(folder.path());
    QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    p.drag({at(3, 1), at(4, 8)}); // an earlier selection, gone at the next press
    p.drag(path);
    if (all)
        p.click("copyTextToolButton");
    else
        QTest::keyClick(p.label, Qt::Key_C, Qt::ControlModifier);
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    QCOMPARE(data->text(), copied);
    QVERIFY(!data->hasFormat(MIME_IGNORE));
}

// No box for the empty text, none to hit for the three points. Boxes are not
// turned with the picture: a turned view hides them and a drag over their
// places pans. Four turns bring the text back.
void TestImageView::boxesAndTurns()
{
    OcrPreview p(folder.path());
    QCOMPARE(p.overlays().size(), 7);
    QCOMPARE(p.overlays().first()->geometry(), QRect(30, 60, 200, 20));
    QVERIFY(p.overlays().last()->size().isEmpty());
    QCOMPARE(p.button("copyTextToolButton")->property("enableCopyText"), QVariant(true));

    p.click("rotateToolButton");
    p.paint();
    p.click("fitOrOriginalToolButton");
    p.paint();
    p.drag({at(2, 4), at(2, 4) - QPoint(0, 100)});
    p.paint();
    QCOMPARE(p.label->panOffset(), QPoint(0, -100));
    QVERIFY(!p.label->hasSelection());
    QVERIFY(!p.overlays().first()->isVisible());

    p.click("rotateToolButton", 3);
    p.paint();
    QVERIFY(p.overlays().first()->isVisible());
    p.drag({at(0, 2), at(0, 4)});
    QCOMPARE(p.overlays().first()->selectedText(false), "234");
}

// "12" is at 0, 4 and 8 of the text; the search goes on from each multiple
// of the pattern length, so the hits at 4 and 8 are drawn twice.
void TestImageView::searchBandsDeepen()
{
    Preview p(folder.path(), QSize(600, 300), {textBox(10, 10, QStringLiteral("1200120012"))});
    p.window.setFilterText(QStringLiteral("12"));
    const QImage shown = p.label->grab().toImage();
    const auto tint = [&](int ch) { return shown.pixelColor(30 + 20 * ch + 10, 70).red(); };
    QCOMPARE(tint(2), 0);
    QVERIFY(tint(0) > 0);
    QVERIFY(tint(8) > tint(0));
}

QTEST_MAIN(TestImageView)
#include "tst_imageview.moc"
