// Paste: from the call that writes the item and asks for the target window,
// to the text appearing in the text field of another program. Before each
// round this program's own window is in front, as when the user picks an
// item from the list.

#include "support/benchsupport.h"

#include "capture/clipboardwriter.h"
#include "common/mime.h"
#include "platform/input.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QWidget>
#include <QWindow>

#include <chrono>
#include <cstdio>

namespace {
using Clock = std::chrono::steady_clock;

QProcess *target = nullptr;
QWidget *ownWindow = nullptr;
ClipboardWriter *writer = nullptr;
QByteArray targetOutput;
int serial = 0;

// Runs the event loop until `done` holds or `timeoutMs` passed.
template <typename Done> bool waitFor(Done done, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

void BM_PasteIntoForeignField(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const platform::WindowHandle own = ownWindow->winId();
        platform::requestActivation(own);
        if (!waitFor([own] { return platform::isActiveWindow(own); }, 5000)) {
            state.SkipWithError("own window did not come to the front");
            break;
        }
        const QByteArray text = "paste-" + QByteArray::number(++serial) + ';';
        // The field keeps every paste; the newest one ends the printed line.
        const QByteArray line = text + '\n';
        state.ResumeTiming();

        const auto start = Clock::now();
        writer->sendCopyMessage({{MIME_TEXT, QString::fromLatin1(text)}});
        const bool arrived = waitFor(
            [&line] {
                targetOutput += target->readAllStandardOutput();
                return targetOutput.endsWith(line);
            },
            5000);
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (!arrived) {
            state.SkipWithError("the text did not arrive");
            break;
        }
        targetOutput.clear();
        state.SetIterationTime(seconds);
    }
}

BENCHMARK(BM_PasteIntoForeignField)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(100)
    ->ReportAggregatesOnly(true)
    ->ComputeStatistics("p95", percentile95)
    ->Unit(benchmark::kMillisecond);
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    BenchHistory bench;

    QWidget own;
    own.setWindowTitle(QStringLiteral("paste bench"));
    own.resize(300, 100);
    own.show();
    ownWindow = &own;

    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral(PASTETARGET_PATH), {});
    target = &process;
    QByteArray ready;
    if (!waitFor(
            [&] {
                ready += process.readAllStandardOutput();
                return ready.contains('\n') || process.state() == QProcess::NotRunning;
            },
            10000) ||
        !ready.startsWith("ready")) {
        std::fprintf(stderr, "the paste target did not start\n");
        return 1;
    }
    const platform::WindowHandle field = ready.split(' ').value(1).trimmed().toULongLong();
    platform::requestActivation(field);
    if (!waitFor([field] { return platform::isActiveWindow(field); }, 10000)) {
        std::fprintf(stderr, "the paste target did not come to the front\n");
        return 1;
    }
    ClipboardWriter clipboardWriter(bench.folder() + QStringLiteral("/temp"));
    clipboardWriter.trackActiveWnd();
    writer = &clipboardWriter;

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    process.kill();
    process.waitForFinished();
    return 0;
}
