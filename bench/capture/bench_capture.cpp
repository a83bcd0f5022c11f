// Capture cost, from the clipboard's change signal to the new row in the
// model, with 10,000 items already in the history and the database thread
// running. The clipboard is set by this process, so the figure is the
// capture's own work and not the X server's data transfer.

#include "support/benchsupport.h"

#include "common/mime.h"
#include "item/itemhash.h"
#include "list/clipboardbrowser.h"
#include "window/mainwindow.h"
#include "window/tabwidget.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QDateTime>
#include <QMimeData>
#include <QProcess>
#include <QRandomGenerator>

#include <chrono>

namespace {
using Clock = std::chrono::steady_clock;

BenchHistory *history = nullptr;
Clock::time_point changeTime;
Clock::time_point rowTime;
int serial = 100000;

// About 2 MB: words with an emoji after every "paste" (1), or hex digits
// without a break (2).
QString largeText(int kind)
{
    constexpr int size = 2 * 1024 * 1024;
    if (kind == 1) {
        const QString emoji = QString::fromUtf8("\xF0\x9F\x98\x80");
        return benchText(-1, size).replace(QStringLiteral("paste "), QStringLiteral("paste ") + emoji + u' ');
    }
    QString hex(size, Qt::Uninitialized);
    QRandomGenerator rng(7);
    for (QChar &c : hex)
        c = QLatin1Char("0123456789abcdef"[rng.bounded(16)]);
    return hex;
}

// Sets the clipboard and returns the seconds from the change signal to the row.
double captureSeconds(QMimeData *mime)
{
    ClipboardModel *model = history->window()->clipboardModel();
    const int before = model->rowCount();
    QGuiApplication::clipboard()->setMimeData(mime);
    while (model->rowCount() == before)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return std::chrono::duration<double>(rowTime - changeTime).count();
}

void BM_CaptureText1KB(benchmark::State &state)
{
    for (auto _ : state) {
        auto *mime = new QMimeData;
        mime->setText(benchText(++serial, 1024));
        state.SetIterationTime(captureSeconds(mime));
    }
}

void BM_CaptureScreenshot(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const QImage image = benchScreenshot(1920, 1080, ++serial);
        state.ResumeTiming();
        auto *mime = new QMimeData;
        mime->setImageData(image);
        state.SetIterationTime(captureSeconds(mime));
    }
}

// The same with the main window shown, as when the user copies while looking
// at the history, and a 2 MB text among the rows on screen: none (0), a chat
// log with emoji (1), a hex dump (2). The figure runs from the change signal
// to the end of the list's repaint.
void BM_CaptureText1KBWindowShown(benchmark::State &state)
{
    MainWindow *window = history->window();
    ClipboardModel *model = window->clipboardModel();
    uint largeHash = 0;
    if (state.range(0)) {
        // Its time lies ahead, so that it stays the top row while copies come.
        const qulonglong ahead = qulonglong(QDateTime::currentMSecsSinceEpoch()) + 86400000;
        ItemData large = benchTextItem(-1, 16, ahead);
        large.dataMap.insert(MIME_TEXT, largeText(int(state.range(0))));
        large.hashValue = largeHash = hashDataMap(large.dataMap, identityKeys());
        model->addLoadedItem(large);
    }
    window->show();
    QWidget *viewport = window->tabWidget()->currentBrowser()->viewport();
    PaintCounter paints;
    viewport->installEventFilter(&paints);
    int paintsAtRow = 0;
    const QMetaObject::Connection atRow =
        QObject::connect(model, &QAbstractItemModel::rowsInserted, [&] { paintsAtRow = paints.count; });
    while (paints.count == 0)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    for (auto _ : state) {
        auto *mime = new QMimeData;
        mime->setText(benchText(++serial, 1024));
        const int before = model->rowCount();
        QGuiApplication::clipboard()->setMimeData(mime);
        // Only a paint after the new row counts.
        while (model->rowCount() == before || paints.count == paintsAtRow)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - changeTime).count());
    }
    QObject::disconnect(atRow);
    viewport->removeEventFilter(&paints);
    window->hide();
    if (largeHash)
        model->removeItem(largeHash);
}

// The same with the text owned by another process (xclip): the figure then
// includes the X server's round trips to that owner.
void BM_CaptureText1KBFromOtherProcess(benchmark::State &state)
{
    ClipboardModel *model = history->window()->clipboardModel();
    for (auto _ : state) {
        const int before = model->rowCount();
        QProcess xclip;
        xclip.start(QStringLiteral("xclip"), {QStringLiteral("-selection"), QStringLiteral("clipboard")});
        xclip.write(benchText(++serial, 1024).toUtf8());
        xclip.closeWriteChannel();
        while (model->rowCount() == before)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        xclip.waitForFinished();
        state.SetIterationTime(std::chrono::duration<double>(rowTime - changeTime).count());
    }
}

// The floor of an image capture: encoding the same picture alone.
void BM_PngEncodeScreenshot(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const QImage image = benchScreenshot(1920, 1080, ++serial);
        state.ResumeTiming();
        const auto start = Clock::now();
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "png", -1);
        benchmark::DoNotOptimize(buffer.data().size());
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
}

BENCHMARK(BM_CaptureText1KB)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(300)
    ->ReportAggregatesOnly(true)
    ->ComputeStatistics("p95", percentile95)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CaptureText1KBWindowShown)
    ->ArgName("largeText")
    ->DenseRange(0, 2)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(30)
    ->ReportAggregatesOnly(true)
    ->ComputeStatistics("p95", percentile95)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CaptureText1KBFromOtherProcess)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(50)
    ->ReportAggregatesOnly(true)
    ->ComputeStatistics("p95", percentile95)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CaptureScreenshot)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PngEncodeScreenshot)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    // Connected before the window's own slot, so it fires first.
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged,
                     [] { changeTime = Clock::now(); });

    BenchHistory bench;
    history = &bench;
    ClipboardModel *model = bench.window()->clipboardModel();
    QObject::connect(model, &QAbstractItemModel::rowsInserted, [] { rowTime = Clock::now(); });
    bench.startDatabase();

    const qulonglong now = qulonglong(QDateTime::currentMSecsSinceEpoch());
    for (int i = 0; i < 10000; ++i)
        model->addLoadedItem(benchTextItem(i, 1024, now - 10000 + qulonglong(i)));

    return runBenchmarksReleasingClipboard(argc, argv);
}
