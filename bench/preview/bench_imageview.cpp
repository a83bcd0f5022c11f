// The image preview of a 3840x2160 screenshot: from the stored PNG bytes to
// the first paint of the shown window (Space on an image row), and one wheel
// step with its repaint. Run on the X server of `make bench`.

#include "capture/clipboardwriter.h"
#include "support/benchsupport.h"
#include "common/log.h"
#include "preview/imagelabel.h"
#include "preview/previewimage.h"

#include <QApplication>
#include <QBuffer>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QWheelEvent>


namespace {

// A 3840x2160 screenshot as the history stores it.
const QByteArray &storedPng()
{
    static const QByteArray png = [] {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        benchScreenshot(3840, 2160, 1).save(&buffer, "PNG");
        return bytes;
    }();
    return png;
}

// Runs the event loop until the widget has been painted `count` times, for
// at most five seconds.
bool waitForPaint(const PaintCounter &counter, int count)
{
    QElapsedTimer limit;
    limit.start();
    while (counter.count < count) {
        if (limit.elapsed() > 5000)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    }
    return true;
}

// From the PNG bytes to the shown preview's first paint, as the main window
// opens it; `decode %` is the share of the PNG decode, which the main window
// does before the preview exists.
void BM_OpenPreview(benchmark::State &state)
{
    QTemporaryDir temp;
    ClipboardWriter writer(temp.path());
    double decodeSeconds = 0;
    double totalSeconds = 0;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        const QImage image = QImage::fromData(storedPng(), "PNG");
        const qint64 decoded = timer.nsecsElapsed();
        auto *preview = new PreviewImage(nullptr, &writer, nullptr);
        PaintCounter counter;
        preview->imageLabel()->installEventFilter(&counter);
        preview->setImage(image, {});
        preview->show();
        preview->adjustPosition(0);
        preview->setFocus(Qt::OtherFocusReason);
        if (!waitForPaint(counter, 1)) {
            state.SkipWithError("the preview was never painted");
            delete preview;
            break;
        }
        const qint64 total = timer.nsecsElapsed();
        state.SetIterationTime(double(total) / 1e9);
        decodeSeconds += double(decoded) / 1e9;
        totalSeconds += double(total) / 1e9;

        preview->imageLabel()->removeEventFilter(&counter);
        delete preview;
        QCoreApplication::processEvents();
    }
    state.counters["decode %"] = 100.0 * decodeSeconds / totalSeconds;
    state.counters["decode ms"] = benchmark::Counter(decodeSeconds * 1000 / double(state.iterations()));
}

// One wheel notch over the picture and the repaint it causes, zooming in and
// out in runs of ten from `range(0)` steps above the fit.
void BM_WheelStep(benchmark::State &state)
{
    QTemporaryDir temp;
    ClipboardWriter writer(temp.path());
    PreviewImage preview(nullptr, &writer, nullptr);
    ImageLabel *label = preview.imageLabel();
    PaintCounter counter;
    label->installEventFilter(&counter);
    preview.setImage(QImage::fromData(storedPng(), "PNG"), {});
    preview.show();
    if (!waitForPaint(counter, 1)) {
        state.SkipWithError("the preview was never painted");
        return;
    }
    for (int i = 0; i < state.range(0); ++i)
        label->onZoomIn();
    label->repaint();
    state.counters["from %"] = 100 * label->scaleFactor();

    const QPointF pointer(label->width() * 0.6, label->height() * 0.45);
    int step = 0;
    for (auto _ : state) {
        const int delta = (step++ / 10) % 2 ? -120 : 120;
        QWheelEvent event(pointer, label->mapToGlobal(pointer), QPoint(), QPoint(0, delta), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        const int painted = counter.count;
        QApplication::sendEvent(label, &event);
        if (!waitForPaint(counter, painted + 1)) {
            state.SkipWithError("a wheel step was not painted");
            break;
        }
    }
}

} // namespace

BENCHMARK(BM_OpenPreview)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(10)->Repetitions(3);
// From the fit (about 30% on a 1920x1080 screen), from near the actual size,
// and from near 400%.
BENCHMARK(BM_WheelStep)->Unit(benchmark::kMillisecond)->Arg(0)->Arg(13)->Arg(27)->Repetitions(3);

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    logLevel = LogError;
    return runBenchmarksReleasingClipboard(argc, argv);
}
