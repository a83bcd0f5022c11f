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
#include "preview/imagelabel.h"
#include "preview/previewimage.h"
#include "support/tempappfolder.h"

// The image preview: zoom ladder and toolbar, opening view, wheel, pan, turns and copy.
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
    Preview(const QString &folder, const QSize &size) : image(size, QImage::Format_RGB32), writer(folder)
    {
        image.fill(Qt::blue);
        if (!image.isNull())
            QPainter(&image).fillRect(0, 0, 10, 10, Qt::red);
        window.setImage(image, {});
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

QTEST_MAIN(TestImageView)
#include "tst_imageview.moc"
