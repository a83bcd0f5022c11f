// 100 distinct texts set back to back by another process (xclip in a shell
// loop, no pause between copies): how many become rows.

#include "support/benchsupport.h"

#include "window/mainwindow.h"

#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QProcess>

namespace {
constexpr int kCopies = 100;
BenchHistory *history = nullptr;

void BM_BackToBackCopies(benchmark::State &state)
{
    static int round = 0; // distinct texts in every repetition
    for (auto _ : state) {
        ClipboardModel *model = history->window()->clipboardModel();
        const int before = model->rowCount();
        QElapsedTimer elapsed;
        elapsed.start();
        QProcess writer;
        writer.start(
            QStringLiteral("sh"),
            {QStringLiteral("-c"), QStringLiteral("for i in $(seq 1 %1); do printf 'round %2 copy %s' \"$i\""
                                                  " | xclip -selection clipboard; done")
                                       .arg(kCopies)
                                       .arg(++round)});
        while (writer.state() != QProcess::NotRunning)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        // Let the last notifications and transfers come in.
        QElapsedTimer quiet;
        quiet.start();
        int last = model->rowCount();
        while (quiet.elapsed() < 1000) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            if (model->rowCount() != last) {
                last = model->rowCount();
                quiet.restart();
            }
        }
        state.SetIterationTime(double(elapsed.elapsed()) / 1000.0);
        state.counters["rows"] = model->rowCount() - before;
    }
}

BENCHMARK(BM_BackToBackCopies)->UseManualTime()->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    BenchHistory bench(qEnvironmentVariable("BENCH_FOLDER"));
    history = &bench;
    bench.startDatabase();
    return runBenchmarksReleasingClipboard(argc, argv);
}
