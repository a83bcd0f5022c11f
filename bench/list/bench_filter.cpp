// A search keystroke and a new item with a large history of mixed items seen
// through the eight tabs the main window makes: the five built-in tabs and
// three user tabs. Every tab gets the keystroke, as every browser does.

#include "support/benchsupport.h"

#include "common/log.h"
#include "common/mime.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"
#include "list/proxymodel.h"

#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>

#include <memory>
#include <vector>

namespace {

const QList<QPair<QList<uint>, uint>> kTabs = {
    {{1, 2, 4, 3, 5}, 0}, {{1}, 1}, {{4, 3}, 3}, {{2}, 2}, {{5}, 4}, {{}, 20}, {{}, 21}, {{}, 22}};

// Text, rich text, links with and without titles, file lists and images
// with recognised text; some with remarks, some in user tabs.
ItemData mixedItem(int serial, qulonglong time)
{
    ItemData item = benchTextItem(serial, 100 + (serial * 37) % 1900, time);
    const QString words = benchText(serial + 1000000, 60);
    switch (serial % 10) {
    case 5:
        item.itemType = ItemTypeRichText;
        item.dataMap.remove(MIME_TEXT);
        item.dataMap.insert(MIME_HTML, QStringLiteral("<html><body><p><b>%1</b></p><p>%2</p></body></html>")
                                           .arg(words, benchText(serial, 400)));
        break;
    case 6:
    case 9:
        item.itemType = ItemTypeLink;
        item.dataMap.insert(MIME_TEXT, QStringLiteral("https://example.org/%1/page").arg(serial));
        if (serial % 10 == 6)
            item.dataMap.insert(MIME_WEB_TITLE, words);
        break;
    case 7: {
        item.itemType = ItemTypeFile;
        item.dataMap.remove(MIME_TEXT);
        QList<QUrl> urls;
        for (int i = 0; i <= serial % 3; ++i)
            urls << QUrl::fromLocalFile(
                QStringLiteral("/home/user/quick/%1 report %2.pdf").arg(words.left(20)).arg(i));
        item.dataMap.insert(MIME_URI_LIST, serializeUrls(urls));
        break;
    }
    case 8:
        item.itemType = ItemTypeImage;
        item.dataMap.remove(MIME_TEXT);
        item.dataMap.insert(MIME_IMAGE_PNG, QByteArray("\x89PNG stand-in " + QByteArray::number(serial)));
        for (int i = 0; i < 3; ++i)
            item.ocrResults << OCRResult{QPolygon(), benchText(serial * 3 + i, 40)};
        item.dataMap.insert(MIME_OCR_RESULT, serializeOcrResults(item.ocrResults));
        break;
    default:
        break;
    }
    if (serial % 7 == 0)
        item.setRemark(benchText(serial + 2000000, 20));
    if (serial % 5 == 0)
        item.addCustomId(20 + uint(serial / 5) % 3);
    item.hashValue = hashDataMap(item.dataMap, identityKeys());
    return item;
}

struct History
{
    ClipboardModel model;
    std::vector<std::unique_ptr<ProxyModel>> proxies;
    int serial = 0;

    explicit History(int items)
    {
        const qulonglong base = qulonglong(QDateTime::currentMSecsSinceEpoch()) - 10000000;
        for (serial = 0; serial < items; ++serial)
            model.addLoadedItem(mixedItem(serial, base + qulonglong(serial)));
        for (const auto &tab : kTabs) {
            auto proxy = std::make_unique<ProxyModel>(tab.first, tab.second);
            proxy->setSourceModel(&model);
            QObject::connect(&model, &QAbstractItemModel::dataChanged, proxy.get(), &ProxyModel::resort);
            proxy->resort();
            proxies.push_back(std::move(proxy));
        }
    }
    // The first tab computes the answers, the others find them remembered.
    double firstTabMs = 0;
    double otherTabsMs = 0;
    void search(const QString &pattern)
    {
        const QRegularExpression expression(pattern, QRegularExpression::CaseInsensitiveOption);
        QElapsedTimer timer;
        timer.start();
        proxies.front()->setFilterRegularExpression(expression);
        firstTabMs += double(timer.nsecsElapsed()) / 1e6;
        timer.restart();
        for (std::size_t i = 1; i < proxies.size(); ++i)
            proxies[i]->setFilterRegularExpression(expression);
        // A tab rebuilt in one pass does so on first use, as a view asks at once.
        for (auto &proxy : proxies)
            proxy->rowCount();
        otherTabsMs += double(timer.nsecsElapsed()) / 1e6;
    }
};

// Typing words letter by letter, one word after the other. A pattern comes
// back only after many others, when no answer for it is remembered.
QString keystroke(int count)
{
    static const QStringList words = {QStringLiteral("window"),  QStringLiteral("clipboard"),
                                      QStringLiteral("history"), QStringLiteral("search"),
                                      QStringLiteral("paste"),   QStringLiteral("quick")};
    int letters = count;
    for (int i = 0;; i = (i + 1) % int(words.size())) {
        if (letters < words.at(i).size())
            return words.at(i).left(letters + 1);
        letters -= int(words.at(i).size());
    }
}

void BM_SearchKeystroke(benchmark::State &state)
{
    History history(int(state.range(0)));
    int count = 0;
    history.search(keystroke(count++));
    history.firstTabMs = history.otherTabsMs = 0;
    for (auto _ : state)
        history.search(keystroke(count++));
    state.counters["shown_in_all"] = history.proxies.front()->rowCount();
    state.counters["first_tab_ms"] = history.firstTabMs / double(state.iterations());
    state.counters["other_tabs_ms"] = history.otherTabsMs / double(state.iterations());
}

// Emptying the field: nearly every row comes back into every tab.
void BM_ClearSearch(benchmark::State &state)
{
    History history(int(state.range(0)));
    int count = 0;
    for (auto _ : state) {
        state.PauseTiming();
        history.search(keystroke(count++));
        state.ResumeTiming();
        history.search(QString());
    }
}

// A copy arrives: the row goes in at the top of the model, and every tab
// filters it, places it and resorts. range(1) says whether a search is on.
void BM_NewItem(benchmark::State &state)
{
    History history(int(state.range(0)));
    if (state.range(1))
        history.search(QStringLiteral("quick"));
    const qulonglong now = qulonglong(QDateTime::currentMSecsSinceEpoch());
    const auto nextItem = [&]() {
        ++history.serial;
        return mixedItem(history.serial, now + qulonglong(history.serial));
    };
    ItemData item = nextItem();
    for (auto _ : state) {
        history.model.addItem(item);
        state.PauseTiming();
        const ProxyModel &all = *history.proxies.front();
        if (!state.range(1) && all.mapToSource(all.index(0, 0)).row() != 0)
            state.SkipWithError("the new item is not on top");
        history.model.removeRow(0);
        item = nextItem();
        state.ResumeTiming();
    }
}

} // namespace

// One round of the typed words, 38 keystrokes, so that every run types the same.
BENCHMARK(BM_SearchKeystroke)
    ->Arg(10000)
    ->Arg(50000)
    ->Iterations(38)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3);
BENCHMARK(BM_ClearSearch)->Arg(10000)->Arg(50000)->Unit(benchmark::kMillisecond)->Repetitions(3);
BENCHMARK(BM_NewItem)->Args({10000, 0})->Args({10000, 1})->Unit(benchmark::kMicrosecond)->Repetitions(3);

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    // Removing a row logs; the measurement is of the tabs, not the log.
    logLevel = LogError;
    return runBenchmarksReleasingClipboard(argc, argv);
}
