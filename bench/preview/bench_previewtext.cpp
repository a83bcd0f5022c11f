// From the Space key to a text preview on the screen, for a 1 MB text: the
// window made, the text set and sized, the search marked, shown, placed and
// painted once.

#include "common/log.h"
#include "preview/customedit.h"
#include "support/benchsupport.h"
#include "preview/previewtext.h"

#include <QApplication>
#include <QRandomGenerator>


namespace {

constexpr int kTextSize = 1 << 20;

// Words of ordinary text; "paste" is about every sixth word.
QString megabyteText(bool lines)
{
    static const QString words[] = {QStringLiteral("clipboard"), QStringLiteral("history"),
                                    QStringLiteral("search"),    QStringLiteral("paste"),
                                    QStringLiteral("window"),    QStringLiteral("quick")};
    QRandomGenerator rng(42);
    QString text;
    text.reserve(kTextSize + 16);
    int column = 0;
    while (text.size() < kTextSize) {
        const QString &word = words[rng.bounded(6)];
        text += word;
        column += word.size() + 1;
        if (lines && column > 90) {
            text += QLatin1Char('\n');
            column = 0;
        } else {
            text += QLatin1Char(' ');
        }
    }
    text.truncate(kTextSize);
    return text;
}

// Notes that a widget has finished a paint.
class PaintWatch : public QObject
{
public:
    explicit PaintWatch(QWidget *widget) { widget->installEventFilter(this); }
    bool painted = false;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        // Seen before the paint runs; the loop below returns only after it.
        if (event->type() == QEvent::Paint)
            painted = true;
        return false;
    }
};

// Args: whether the text has lines (else it is one line), and whether a
// search for a frequent word is active.
void BM_SpaceToPaintedText(benchmark::State &state)
{
    const QString text = megabyteText(state.range(0) != 0);
    const QString search = state.range(1) ? QStringLiteral("paste") : QString();
    QWidget mainWindow;
    mainWindow.setGeometry(100, 100, 600, 800);
    mainWindow.show();
    QCoreApplication::processEvents();

    for (auto _ : state) {
        // As the main window opens a preview.
        auto *preview = new PreviewText(nullptr, nullptr, &mainWindow);
        PaintWatch watch(preview->findChild<CustomEdit *>()->viewport());
        preview->setPlainText(text);
        preview->setHashValue(1);
        preview->setFilterText(search);
        preview->show();
        preview->adjustPosition(400);
        preview->setFocus(Qt::OtherFocusReason);
        while (!watch.painted)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::processEvents();

        state.PauseTiming();
        delete preview;
        QCoreApplication::processEvents();
        state.ResumeTiming();
    }
}

} // namespace

BENCHMARK(BM_SpaceToPaintedText)
    ->ArgsProduct({{1, 0}, {0, 1}})
    ->ArgNames({"lines", "search"})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5)
    ->Repetitions(3);

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    logLevel = LogError;
    return runBenchmarksReleasingClipboard(argc, argv);
}
