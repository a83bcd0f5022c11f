// Capture cost, from the clipboard's change signal to the new row in the
// model, with 10,000 items already in the history and the database thread
// running. The clipboard is set by this process, so the figure is the
// capture's own work and not the X server's data transfer.

#include "support/benchsupport.h"

#include "window/mainwindow.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QDateTime>
#include <QMimeData>
#include <QProcess>

#include <chrono>

namespace {
using Clock = std::chrono::steady_clock;

BenchHistory *history = nullptr;
Clock::time_point changeTime;
Clock::time_point rowTime;
int serial = 100000;

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
