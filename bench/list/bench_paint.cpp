// One full repaint of a screen of twelve rows, the way a tab shows them
// during a search: texts with a hit, a long text whose hit lies deep inside,
// links with titles, file lists and 1920x1080 screenshots.

#include "support/benchsupport.h"

#include "common/log.h"
#include "common/mime.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"
#include "list/itemdelegate.h"
#include "list/proxymodel.h"

#include <QApplication>
#include <QBuffer>
#include <QDateTime>
#include <QListView>
#include <QPainter>

namespace {

constexpr int kRows = 12;
const QString kPattern = QStringLiteral("needle");

QPixmap sourceIcon(int size, const QColor &color)
{
    QPixmap pixmap(size, size);
    pixmap.fill(color);
    QPainter painter(&pixmap);
    painter.setBrush(Qt::white);
    painter.drawEllipse(pixmap.rect().adjusted(size / 8, size / 8, -size / 8, -size / 8));
    return pixmap;
}

ItemData screenItem(int row, qulonglong time)
{
    ItemData item;
    item.itemType = ItemTypeImage;
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    benchScreenshot(1920, 1080, row).save(&buffer, "PNG");
    item.dataMap.insert(MIME_IMAGE_PNG, png);
    item.ocrResults << OCRResult{QPolygon(), QStringLiteral("a needle in the picture")};
    item.dataMap.insert(MIME_OCR_RESULT, serializeOcrResults(item.ocrResults));
    item.hashValue = hashDataMap(item.dataMap, identityKeys());
    item.createTime = item.lastActiveTime = time;
    return item;
}

ItemData rowItem(int row, qulonglong time)
{
    ItemData item = benchTextItem(row, 120, time);
    switch (row % 5) {
    case 0:
        item.dataMap.insert(MIME_TEXT, QStringLiteral("copied text with a needle in it, row %1").arg(row));
        break;
    case 1:
        item.dataMap.insert(MIME_TEXT, QString(benchText(row, 20000) + QStringLiteral(" the needle ") +
                                               benchText(row, 5000)));
        break;
    case 2:
        item.itemType = ItemTypeLink;
        item.dataMap.insert(MIME_TEXT, QStringLiteral("https://example.org/needle/%1").arg(row));
        item.dataMap.insert(MIME_WEB_TITLE, QStringLiteral("Needle and thread - a page title %1").arg(row));
        break;
    case 3: {
        item.itemType = ItemTypeFile;
        item.dataMap.remove(MIME_TEXT);
        const QList<QUrl> urls = {
            QUrl::fromLocalFile(QStringLiteral("/home/user/docs/plan %1.odt").arg(row)),
            QUrl::fromLocalFile(QStringLiteral("/home/user/docs/needle report %1.pdf").arg(row)),
            QUrl::fromLocalFile(QStringLiteral("/home/user/docs/notes.txt"))};
        item.dataMap.insert(MIME_URI_LIST, serializeUrls(urls));
        break;
    }
    default:
        return screenItem(row, time);
    }
    if (row % 3 == 0)
        item.setRemark(QStringLiteral("remark of row %1").arg(row));
    item.hashValue = hashDataMap(item.dataMap, identityKeys());
    return item;
}

struct Screen
{
    ClipboardModel model;
    ProxyModel proxy{{1, 2, 4, 3, 5}, 0};
    ItemDelegate delegate;
    QListView view;
    QImage target;

    Screen()
    {
        uint bigIcon = 0;
        uint smallIcon = 0;
        model.addIcon(QStringLiteral("/usr/bin/editor"), sourceIcon(256, Qt::darkGreen), bigIcon);
        model.addIcon(QStringLiteral("/usr/bin/term"), sourceIcon(32, Qt::darkBlue), smallIcon);
        const qulonglong now = qulonglong(QDateTime::currentMSecsSinceEpoch());
        for (int row = 0; row < kRows; ++row) {
            ItemData item = rowItem(row, now - qulonglong(row));
            item.iconHashValue = row % 2 ? bigIcon : smallIcon;
            model.addLoadedItem(item);
        }
        proxy.setSourceModel(&model);
        proxy.resort();
        proxy.setFilterRegularExpression(
            QRegularExpression(kPattern, QRegularExpression::CaseInsensitiveOption));
        // As the tab's list is set up.
        view.setItemDelegate(&delegate);
        view.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
        view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view.setSpacing(8);
        view.setModel(&proxy);
        view.resize(680, kRows * (84 + 8) + 8);
        view.show();
        QCoreApplication::processEvents();
        target = QImage(view.viewport()->size(), QImage::Format_ARGB32_Premultiplied);
    }
    void repaint()
    {
        target.fill(Qt::white);
        view.viewport()->render(&target);
    }
};

void BM_PaintScreen(benchmark::State &state)
{
    Screen screen;
    if (screen.proxy.rowCount() != kRows)
        state.SkipWithError("not every row passes the search");
    screen.repaint();
    for (auto _ : state)
        screen.repaint();
}

// The same with images never painted before: each one is decoded and scaled.
void BM_PaintScreenNewImages(benchmark::State &state)
{
    Screen screen;
    screen.repaint();
    // Across repetitions too: the painter's pictures outlive a screen.
    static uint serial = 1;
    for (auto _ : state) {
        state.PauseTiming();
        // A new identity makes the painter treat the picture as unseen.
        for (int row = 0; row < kRows; ++row) {
            ItemData item = screen.model.items().at(row);
            if (item.itemType != ItemTypeImage)
                continue;
            item.hashValue = 0x80000000u + serial++;
            screen.model.setData(screen.model.index(row), QVariant::fromValue(item));
        }
        state.ResumeTiming();
        screen.repaint();
    }
}

} // namespace

BENCHMARK(BM_PaintScreen)->Unit(benchmark::kMillisecond)->Repetitions(3);
BENCHMARK(BM_PaintScreenNewImages)->Unit(benchmark::kMillisecond)->Repetitions(3);

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    logLevel = LogError;
    return runBenchmarksReleasingClipboard(argc, argv);
}
