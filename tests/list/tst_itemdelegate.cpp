#include <functional>

#include <QBuffer>
#include <QListView>
#include <QPainter>
#include <QScrollBar>
#include <QtTest>

#include "common/mime.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"
#include "list/itemdelegate.h"
#include "list/proxymodel.h"
#include "list/visiblerows.h"

namespace {

constexpr int kWidth = 680;
// With the standard row of 680 by 84 and no remark the content lies in
// x 82..587, y 12..69. The right mark's dots stand beyond its right edge,
// below the time.
const QRect kRightMark(589, 30, 30, 30);

ItemData makeItem(uint type, const QVariantMap &entries)
{
    ItemData item;
    item.itemType = type;
    item.createTime = item.lastActiveTime = qulonglong(QDateTime::currentMSecsSinceEpoch());
    item.dataMap = entries;
    item.hashValue = hashDataMap(item.dataMap, identityKeys());
    return item;
}

ItemData imageItem(const QImage &image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return makeItem(ItemTypeImage, {{MIME_IMAGE_PNG, png}});
}

ItemData fileItem(const QStringList &paths, const QString &remark = QString())
{
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls << QUrl::fromLocalFile(path);
    ItemData item = makeItem(ItemTypeFile, {{MIME_URI_LIST, serializeUrls(urls)}});
    if (!remark.isEmpty())
        item.setRemark(remark);
    return item;
}

// A row painted the way a browser paints it: through a tab's filter.
struct Row
{
    ClipboardModel model;
    ProxyModel proxy{{1, 2, 3, 4, 5}, 0};
    ItemDelegate delegate;

    explicit Row(const ItemData &item, const QString &pattern = QString())
    {
        model.addLoadedItem(item);
        proxy.setSourceModel(&model);
        proxy.setFilterRegularExpression(
            QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption));
    }
    QImage paint(int width = kWidth)
    {
        QImage image(width, 84, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        QStyleOptionViewItem option;
        option.rect = image.rect();
        option.state = QStyle::State_Enabled;
        delegate.paint(&painter, option, proxy.index(0, 0));
        return image;
    }
};

int countPixels(const QImage &image, const QRect &area, const std::function<bool(QRgb)> &test)
{
    int count = 0;
    const QRect clipped = area & image.rect();
    for (int y = clipped.top(); y <= clipped.bottom(); ++y) {
        for (int x = clipped.left(); x <= clipped.right(); ++x)
            count += test(image.pixel(x, y)) ? 1 : 0;
    }
    return count;
}

bool isYellow(QRgb c)
{
    return qRed(c) > 240 && qGreen(c) > 240 && qBlue(c) < 30;
}

bool isInk(QRgb c)
{
    return qGray(c) < 200;
}

// The outermost column holding ink within `area`.
int inkEdge(const QImage &image, const QRect &area, bool rightmost)
{
    int edge = -1;
    for (int x = area.left(); x <= area.right(); ++x) {
        if (countPixels(image, QRect(x, area.top(), 1, area.height()), isInk) == 0)
            continue;
        if (!rightmost)
            return x;
        edge = x;
    }
    return edge;
}

// The runs of rows with ink at the content's left edge, top to bottom, as
// heights. The top and bottom marks are rows of dots, a run of at most
// three rows before and after the text's lines.
QList<int> inkRuns(const QImage &image)
{
    QList<int> runs;
    bool inRun = false;
    for (int y = 3; y < 81; ++y) {
        const bool ink = countPixels(image, QRect(80, y, 40, 1), isInk) > 0;
        if (ink && !inRun)
            runs << 0;
        if (ink)
            ++runs.last();
        inRun = ink;
    }
    return runs;
}

QString lines(int count, const QString &last = QString())
{
    QStringList result;
    for (int i = 0; i < count; ++i)
        result << QStringLiteral("line %1 with a few words on it").arg(i);
    if (!last.isEmpty())
        result << last;
    return result.join('\n');
}

} // namespace

class TestItemDelegate : public QObject
{
    Q_OBJECT
private slots:
    void textRows_data();
    void textRows();
    void longTextsAsWhole_data();
    void longTextsAsWhole();
    void remarkNarrowsContent();
    void fileRows();
    void imageRows();
    void digitHints();
};

void TestItemDelegate::textRows_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("yellow");
    QTest::addColumn<QString>("marks");

    QTest::newRow("fits") << 4 << "hello world"
                          << "" << false << "";
    QTest::newRow("fits, hit") << 4 << "hello world"
                               << "WORLD" << true << "";
    QTest::newRow("expression not highlighted") << 4 << "hello abc"
                                                << "a.c" << false << "";
    QTest::newRow("long, no search") << 4 << lines(40) << "" << false << "bottom";
    QTest::newRow("hit on the last line") << 4 << lines(40, "the needle") << "needle" << true << "top";
    QTest::newRow("hit in the middle")
        << 4 << lines(20, "a needle\n" + lines(20)) << "needle" << true << "top bottom";
    QTest::newRow("one long word") << 4 << QString(300, 'w') << "" << false << "right";
    QTest::newRow("rich text hit") << 3 << "<p>" + lines(30, "<b>needle</b>") + "</p>"
                                   << "needle" << true << "top";
    QTest::newRow("link") << 5 << "http://example.org/" + QString(300, 'p') << "" << false << "right";
}

void TestItemDelegate::textRows()
{
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(QString, pattern);
    QFETCH(bool, yellow);
    QFETCH(QString, marks);

    const QString key = type == ItemTypeRichText ? MIME_HTML : MIME_TEXT;
    Row row(makeItem(uint(type), {{key, text}}), pattern);
    const QImage image = row.paint();
    QCOMPARE(countPixels(image, image.rect(), isYellow) > 0, yellow);
    const QList<int> runs = inkRuns(image);
    QVERIFY(!runs.isEmpty());
    QCOMPARE(runs.first() <= 3, marks.contains("top"));
    QCOMPARE(runs.last() <= 3, marks.contains("bottom"));
    QCOMPARE(countPixels(image, kRightMark, isInk) > 0, marks.contains("right"));
    if (type == ItemTypeLink) {
        const auto blue = [](QRgb c) { return qBlue(c) > 150 && qRed(c) < 100 && qGreen(c) < 100; };
        QVERIFY(countPixels(image, kRightMark, blue) > 0);
    }
}

// A long text is laid out around the hit only; the row must be the one that
// the whole text gives. A paragraph in a right-to-left script makes the
// painter lay out the whole text; put where it is cut off, it changes
// nothing that can be seen.
void TestItemDelegate::longTextsAsWhole_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<int>("width");
    QTest::addColumn<bool>("rightToLeftFirst");

    QString words;
    for (int i = 0; words.size() < 20000; ++i)
        words += QStringLiteral("word%1 ").arg(i * 7919 % 1000);
    const QString cjk = QString::fromUtf8("剪贴板历史记录中的一段很长的文字，").repeated(800);
    QTest::newRow("no search") << words << "" << kWidth << false;
    QTest::newRow("hit deep inside") << words << "word123 " << kWidth << true;
    QTest::newRow("hit deep inside, narrow") << words << "word123 " << 300 << true;
    QTest::newRow("hit near the start") << words << "word0 " << kWidth << false;
    QTest::newRow("hit at the end") << words + "needle"
                                    << "needle" << kWidth << true;
    QTest::newRow("expression, no plain hit") << words << "word12." << kWidth << false;
    QTest::newRow("lines") << lines(900, "needle") + "\n" + lines(100) << "needle" << kWidth << true;
    QTest::newRow("CR LF lines") << lines(900).replace("\n", "\r\n") + " needle " + lines(10) << "needle"
                                 << kWidth << true;
    QTest::newRow("long word at the hit")
        << words + "needle" + QString(3000, 'x') + words << "needle" << kWidth << true;
    // Without spaces the run before the hit is one word, and nothing is cut at the top.
    QTest::newRow("CJK") << cjk + "针" + cjk << "针" << kWidth << false;
    const QString spaced = QString(cjk).replace(QString::fromUtf8("，"), QString::fromUtf8("， "));
    QTest::newRow("CJK with spaces") << spaced + "针" + spaced << "针" << kWidth << true;
}

void TestItemDelegate::longTextsAsWhole()
{
    QFETCH(QString, text);
    QFETCH(QString, pattern);
    QFETCH(int, width);
    QFETCH(bool, rightToLeftFirst);
    const QString rightToLeft = QString::fromUtf8("שלום");
    const QString whole = rightToLeftFirst ? rightToLeft + "\n" + text : text + "\n" + rightToLeft;
    const QImage windowedRow = Row(makeItem(ItemTypeText, {{MIME_TEXT, text}}), pattern).paint(width);
    const QImage wholeRow = Row(makeItem(ItemTypeText, {{MIME_TEXT, whole}}), pattern).paint(width);
    QCOMPARE(windowedRow, wholeRow);
}

void TestItemDelegate::remarkNarrowsContent()
{
    const QString remark(200, 'R');
    const QRect contentBand(82, 14, 500, 30);
    const QString text = QString("word ").repeated(300);
    Row plain(makeItem(ItemTypeText, {{MIME_TEXT, text}}));
    QVERIFY(inkEdge(plain.paint(), contentBand, true) > 540);

    ItemData noted = makeItem(ItemTypeText, {{MIME_TEXT, text}});
    noted.setRemark(remark);
    Row narrowed(noted);
    // A remark takes at most 26% of the frame's width, 175 pixels, plus 10.
    QVERIFY(inkEdge(narrowed.paint(), contentBand, true) < 82 + 676 - 80 - 185 + 2);

    ItemData shortText = makeItem(ItemTypeText, {{MIME_TEXT, QStringLiteral("hi")}});
    shortText.setRemark(remark);
    Row elided(shortText);
    const QImage image = elided.paint();
    const QRect remarkBand(82, 55, 590, 22);
    QVERIFY(inkEdge(image, remarkBand, false) >= 677 - 10 - 185);
    QVERIFY(inkEdge(image, remarkBand, true) <= 667);
}

void TestItemDelegate::fileRows()
{
    // The row shows the first file that the search hits and counts all of them.
    const QImage hitSecond =
        Row(fileItem({"/tmp/a/one.txt", "/tmp/b/hit.txt", "/tmp/c/three.txt"}), "hit").paint();
    const QImage hitFirst = Row(fileItem({"/tmp/b/hit.txt", "/x/y.txt", "/x/z.txt"}), "hit").paint();
    const QImage twoFiles = Row(fileItem({"/tmp/b/hit.txt", "/x/y.txt"}), "hit").paint();
    QVERIFY(countPixels(hitSecond, hitSecond.rect(), isYellow) > 0);
    QCOMPARE(hitSecond, hitFirst);
    QVERIFY(hitSecond != twoFiles);

    // Hit only in the remark: no file is shown.
    const QImage remarkOnly = Row(fileItem({"/tmp/a/one.txt"}, "hit"), "hit").paint();
    QCOMPARE(countPixels(remarkOnly, QRect(82, 14, 300, 54), isInk), 0);

    // A long name loses its middle; the highlight left of the cut stays.
    const QString longName = "/tmp/HIT" + QString(300, 'x') + "end.txt";
    const QImage elided = Row(fileItem({longName, "/tmp/two"}), "hit").paint();
    QVERIFY(countPixels(elided, QRect(82, 12, 100, 60), isYellow) > 0);
    QCOMPARE(countPixels(elided, QRect(600, 20, 70, 40), isInk), 0);
}

void TestItemDelegate::imageRows()
{
    QImage wide(1920, 1080, QImage::Format_RGB32);
    wide.fill(Qt::red);
    Row large(imageItem(wide));
    const auto red = [](QRgb c) { return qRed(c) > 200 && qGreen(c) < 60 && qBlue(c) < 60; };
    // Scaled to the content height, 60, keeping its proportion, centred.
    QCOMPARE(countPixels(large.paint(), QRect(0, 0, kWidth, 84), red), 107 * 60);

    QImage small(10, 10, QImage::Format_RGB32);
    small.fill(Qt::red);
    Row tiny(imageItem(small));
    QCOMPARE(countPixels(tiny.paint(), QRect(0, 0, kWidth, 84), red), 100);

    // The scaled picture is remembered, but never for other pixels.
    wide.fill(Qt::blue);
    large.model.setData(large.model.index(0), QVariant::fromValue(imageItem(wide)));
    QCOMPARE(countPixels(large.paint(), QRect(0, 0, kWidth, 84), red), 0);
}

void TestItemDelegate::digitHints()
{
    ClipboardModel model;
    for (int i = 0; i < 30; ++i)
        model.addLoadedItem(makeItem(ItemTypeText, {{MIME_TEXT, QStringLiteral("item %1").arg(i)}}));
    ProxyModel proxy({1, 2, 3, 4, 5}, 0);
    proxy.setSourceModel(&model);
    ItemDelegate delegate;
    QListView view;
    view.setItemDelegate(&delegate);
    view.setModel(&proxy);
    view.resize(kWidth, 500);
    QObject::connect(view.verticalScrollBar(), &QScrollBar::valueChanged, &resetVisibleRows);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));

    quickCopyModeOn = true;
    resetVisibleRows();
    view.viewport()->grab();
    QCOMPARE(visibleRowMap.value(1), proxy.mapToSource(proxy.index(0, 0)).row());
    QVERIFY(visibleRowMap.size() >= 5 && visibleRowMap.size() <= 6);

    view.verticalScrollBar()->setValue(view.verticalScrollBar()->value() + 3 * 84);
    view.viewport()->grab();
    const int top = view.indexAt(QPoint(10, 42)).row();
    QVERIFY(top >= 3);
    QCOMPARE(visibleRowMap.value(1), proxy.mapToSource(proxy.index(top, 0)).row());

    quickCopyModeOn = false;
    resetVisibleRows();
    view.viewport()->grab();
    QVERIFY(visibleRowMap.isEmpty());
}

QTEST_MAIN(TestItemDelegate)
#include "tst_itemdelegate.moc"
