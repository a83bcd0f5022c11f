// Source attribution per copy: clipboard owner, its process and executable
// path, and the program icon. Another process owns the clipboard and shows
// a window with an icon, as a real program would. Measured once with the
// icon looked up afresh and once with it already known.

#include "support/benchsupport.h"

#include "common/sourceapplication.h"
#include "platform/windowicon.h"

#include <QApplication>
#include <QProcess>

#include <chrono>
#include <cstdio>

namespace {
using Clock = std::chrono::steady_clock;

double attributionSeconds()
{
    QPixmap pixmap;
    QString path;
    const auto start = Clock::now();
    const bool found = getFrontProcessIcon(pixmap, path);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    benchmark::DoNotOptimize(found);
    return seconds;
}

void BM_AttributionIconUnknown(benchmark::State &state)
{
    for (auto _ : state) {
        platform::clearProgramIconCache();
        state.SetIterationTime(attributionSeconds());
    }
}

void BM_AttributionIconKnown(benchmark::State &state)
{
    attributionSeconds();
    for (auto _ : state)
        state.SetIterationTime(attributionSeconds());
}

BENCHMARK(BM_AttributionIconUnknown)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(200)
    ->ReportAggregatesOnly(true)
    ->ComputeStatistics("p95", percentile95)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AttributionIconKnown)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(1000)
    ->ReportAggregatesOnly(true)
    ->ComputeStatistics("p95", percentile95)
    ->Unit(benchmark::kMicrosecond);
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    BenchHistory bench;

    QProcess owner;
    owner.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    owner.start(QStringLiteral(ICONOWNER_PATH), {QStringLiteral("attribution bench")});
    QByteArray output;
    while (!output.contains("ready") && owner.state() != QProcess::NotRunning) {
        owner.waitForReadyRead(100);
        output += owner.readAllStandardOutput();
    }
    if (!output.contains("ready")) {
        std::fprintf(stderr, "the clipboard owner did not start\n");
        return 1;
    }
    // Let the owner change reach this process before measuring.
    QCoreApplication::processEvents(QEventLoop::AllEvents, 100);

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    owner.kill();
    owner.waitForFinished();
    return 0;
}
