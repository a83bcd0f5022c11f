#include <QBuffer>
#include <QListView>
#include <QPainter>
#include <QTextDocument>
#include <QtTest>

#include "common/mime.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"
#include "list/itemdelegate.h"
#include "list/proxymodel.h"

namespace {

const auto isYellow = [](QRgb c) { return qRed(c) > 240 && qGreen(c) > 240 && qBlue(c) < 30; };
const auto isInk = [](QRgb c) { return qGray(c) < 200; };

// An item of a text, HTML, PNG bytes or files. Used on a day long past,
// every paint shows the same date.
ItemData makeItem(uint type, const QVariant &content, qulonglong time = 1700000000000ULL)
{
    ItemData item;
    item.itemType = type;
    item.createTime = item.lastActiveTime = time;
    const QMap<uint, QString> keys = {{ItemTypeRichText, MIME_HTML}, {ItemTypeImage, MIME_IMAGE_PNG}};
    item.dataMap[keys.value(type, MIME_TEXT)] = content;
    if (type == ItemTypeFile) {
        QList<QUrl> urls;
        for (const QString &path : content.toStringList())
            urls << QUrl::fromLocalFile(path);
        item.dataMap = {{MIME_URI_LIST, serializeUrls(urls)}};
    }
    item.hashValue = hashDataMap(item.dataMap, identityKeys());
    return item;
}

// A row of 680 by 84.
QImage paintIndex(const ItemDelegate &delegate, const QModelIndex &index)
{
    QImage image(680, 84, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    QStyleOptionViewItem option;
    option.rect = image.rect();
    option.state = QStyle::State_Enabled;
    delegate.paint(&painter, option, index);
    return image;
}

// An item's row painted through a tab's filter.
QImage paintRow(uint type, const QVariant &content, const QString &pattern = QString(),
                const QString &remark = QString())
{
    ItemData item = makeItem(type, content);
    if (!remark.isEmpty())
        item.setRemark(remark);
    ClipboardModel model;
    model.addLoadedItem(item);
    ProxyModel proxy({1, 2, 3, 4, 5}, 0);
    proxy.setSourceModel(&model);
    proxy.setFilterRegularExpression(QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption));
    return paintIndex(ItemDelegate(), proxy.index(0, 0));
}

int countPixels(const QImage &image, bool (*test)(QRgb), const QRect &area = QRect(0, 0, 680, 84))
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            count += test(image.pixel(x, y)) ? 1 : 0;
    }
    return count;
}

// Digits and letters with no break between them, as a hex dump.
QString hexRun(int size)
{
    QString run;
    for (int i = 0; i < size; ++i)
        run += QLatin1Char("0123456789abcd"[(uint(i) * 7919u + uint(i) / 13u) % 14u]);
    return run;
}

QString words(int size, const QString &between = " ")
{
    QString text;
    for (int i = 0; text.size() < size; ++i)
        text += QStringLiteral("word%1").arg(i * 7919 % 1000) + between;
    return text;
}

// The largest text that a document is given before its first layout: Qt
// makes a document's layout, a child of it, when its size is first asked.
class LayoutProbe : public QObject
{
public:
    LayoutProbe() { qApp->installEventFilter(this); }
    ~LayoutProbe() override { qApp->removeEventFilter(this); }
    int largest = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::ChildAdded) {
            if (const auto *document = qobject_cast<QTextDocument *>(watched))
                largest = qMax(largest, document->characterCount());
        }
        return false;
    }
};

QString lines(int count)
{
    QStringList result;
    for (int i = 0; i < count; ++i)
        result << QStringLiteral("line %1 with a few words on it").arg(i);
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
    void largeTextInView_data();
    void largeTextInView();
    void keptRowsFollowChanges();
    void fileRows();
    void imageRows();
};

void TestItemDelegate::textRows_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");

    QTest::newRow("fits") << "" << 4 << QString("hello world") << "";
    QTest::newRow("fits, hit") << "WORLD" << 4 << QString("hello world") << "yellow";
    QTest::newRow("long, no search") << "" << 4 << lines(40) << "bottom";
    QTest::newRow("hit on the last line") << "needle" << 4 << lines(40) + "\nthe needle"
                                          << "yellow top";
    QTest::newRow("hit in the middle")
        << "needle" << 4 << lines(20) + "\na needle\n" + lines(20) << "yellow top bottom";
    QTest::newRow("one long word") << "" << 4 << QString(300, 'w') << "right";
    QTest::newRow("rich text hit") << "needle" << 3 << "<p>" + lines(30) + "\n<b>needle</b></p>"
                                   << "yellow top";
    QTest::newRow("link") << "" << 5 << "http://example.org/" + QString(300, 'p') << "right blue";
}

// The hit in yellow, and three small dots on each side where content was
// left out: above and below the text at its left edge, and right of it.
void TestItemDelegate::textRows()
{
    QFETCH(QString, pattern);
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(QString, shown);

    const QImage image = paintRow(uint(type), text, pattern);
    QCOMPARE(countPixels(image, isYellow) > 0, shown.contains("yellow"));
    // One character per pixel row of the text's left edge; a mark is at most three rows.
    QString edge;
    for (int y = 3; y < 81; ++y)
        edge += countPixels(image, isInk, QRect(80, y, 40, 1)) > 0 ? '#' : '.';
    QVERIFY(edge.contains('#'));
    QCOMPARE(edge.contains(QRegularExpression("^\\.*#{1,3}\\.")), shown.contains("top"));
    QCOMPARE(edge.contains(QRegularExpression("\\.#{1,3}\\.*$")), shown.contains("bottom"));
    // Right of the content, x 82..587, below the date.
    const QRect rightMark(589, 30, 30, 30);
    QCOMPARE(countPixels(image, isInk, rightMark) > 0, shown.contains("right"));
    const auto blue = [](QRgb c) { return qBlue(c) > 150 && qRed(c) < 100 && qGreen(c) < 100; };
    QCOMPARE(countPixels(image, blue, rightMark) > 0, shown.contains("blue"));
}

// A long text is laid out around the hit only, and must give the row of the
// whole text. A right-to-left paragraph makes the painter lay out the whole
// text; where it is cut off, it changes nothing that can be seen.
void TestItemDelegate::longTextsAsWhole_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("rightToLeftFirst");

    const QString words = ::words(20000);
    const QString emoji = ::words(20000, QString::fromUtf8(" \xF0\x9F\x98\x80 "));
    const QString hex = hexRun(20000);
    const QString cjk = QString::fromUtf8("剪贴板历史记录中的一段很长的文字，").repeated(800);
    const QString spaced = QString(cjk).replace(QString::fromUtf8("，"), QString::fromUtf8("， "));
    QTest::newRow("no search") << "" << words << false;
    QTest::newRow("hit deep inside") << "word123 " << words << true;
    QTest::newRow("hit near the start") << "word0 " << words << false;
    QTest::newRow("hit at the end") << "needle" << words + "needle" << true;
    QTest::newRow("expression, no plain hit") << "word12." << words << false;
    QTest::newRow("lines") << "needle" << lines(900) + "\nneedle\n" + lines(100) << true;
    QTest::newRow("CR LF lines") << "needle" << lines(900).replace("\n", "\r\n") + " needle " + lines(10)
                                 << true;
    QTest::newRow("long word at the hit")
        << "needle" << words + "needle" + QString(3000, 'x') + words << true;
    // Without spaces the run before the hit is one word, and nothing is cut at the top.
    QTest::newRow("CJK") << "针" << cjk + "针" + cjk << false;
    QTest::newRow("CJK with spaces") << "针" << spaced + "针" + spaced << true;
    QTest::newRow("emoji") << "" << emoji << false;
    QTest::newRow("emoji, hit deep inside") << "word123 " << emoji << true;
    QTest::newRow("hex dump") << "" << hex + "\n" + lines(10) << false;
    QTest::newRow("hex dump, hit at its end") << "needle" << hex + " needle " + words << false;
    QTest::newRow("hit inside a hex dump") << "c0ffee" << words + hex + "c0ffee" + hex + words << true;
    QTest::newRow("hit after hex dumps")
        << "needle" << words + hex + " " + hex + " a needle " + hex + "\n" + words << true;
}

void TestItemDelegate::longTextsAsWhole()
{
    QFETCH(QString, pattern);
    QFETCH(QString, text);
    QFETCH(bool, rightToLeftFirst);
    const QString rightToLeft = QString::fromUtf8("שלום");
    const QString whole = rightToLeftFirst ? rightToLeft + "\n" + text : text + "\n" + rightToLeft;
    QCOMPARE(paintRow(ItemTypeText, text, pattern), paintRow(ItemTypeText, whole, pattern));
}

// A long text in view is laid out around what its row shows, and once: a
// new copy, which repaints every row, lays out only the new one.
void TestItemDelegate::largeTextInView_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("windowed");
    QTest::newRow("emoji") << words(300000, QString::fromUtf8(" \xF0\x9F\x98\x80 ")) << true;
    QTest::newRow("hex dump") << hexRun(300000) << true;
    QTest::newRow("right to left") << words(300000, QString::fromUtf8(" שלום ")) << false;
}

void TestItemDelegate::largeTextInView()
{
    QFETCH(QString, text);
    QFETCH(bool, windowed);
    ClipboardModel model;
    model.addLoadedItem(makeItem(ItemTypeText, text));
    ProxyModel proxy({1, 2, 3, 4, 5}, 0);
    proxy.setSourceModel(&model);
    connect(&model, &QAbstractItemModel::dataChanged, &proxy, &ProxyModel::resort);
    ItemDelegate delegate;
    QListView view;
    view.setItemDelegate(&delegate);
    view.setModel(&proxy);
    view.resize(680, 400);
    LayoutProbe probe;
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    view.viewport()->grab();
    QCOMPARE(probe.largest > 0 && probe.largest < 20000, windowed);
    probe.largest = 0;
    model.addItem(makeItem(ItemTypeText, "a new copy", 1700000000001ULL));
    QTRY_VERIFY(probe.largest > 0);
    view.viewport()->grab();
    QCOMPARE(proxy.index(1, 0).data().value<ItemData>().text(), text);
    QVERIFY(probe.largest < 100);
}

// A row laid out before is laid out anew when what it shows changes while
// its identity stays: a page title arrives, a remark narrows it, a search.
void TestItemDelegate::keptRowsFollowChanges()
{
    ItemData link = makeItem(ItemTypeLink, QString("http://example.org/" + words(200, "/")));
    ClipboardModel model;
    model.addLoadedItem(link);
    ProxyModel proxy({1, 2, 3, 4, 5}, 0);
    proxy.setSourceModel(&model);
    ItemDelegate kept;
    const auto paint = [&](const ItemDelegate &delegate) { return paintIndex(delegate, proxy.index(0, 0)); };
    const QImage address = paint(kept);
    model.onFetchWebTitle(link.hashValue, "word1 title");
    QVERIFY(paint(kept) != address);
    QCOMPARE(paint(kept), paint(ItemDelegate()));
    link = model.items().first();
    link.setRemark(QString(100, 'R'));
    model.setData(model.index(0), QVariant::fromValue(link));
    QCOMPARE(paint(kept), paint(ItemDelegate()));
    proxy.setFilterRegularExpression(QRegularExpression("title", QRegularExpression::CaseInsensitiveOption));
    QCOMPARE(paint(kept), paint(ItemDelegate()));
}

void TestItemDelegate::fileRows()
{
    const auto row = [](const QStringList &paths, const QString &remark = QString()) {
        return paintRow(ItemTypeFile, paths, "hit", remark);
    };
    // The row shows the first file that the search hits and counts all of them.
    const QImage hitSecond = row({"/tmp/a/one.txt", "/tmp/b/hit.txt", "/tmp/c/three.txt"});
    QVERIFY(countPixels(hitSecond, isYellow) > 0);
    QCOMPARE(hitSecond, row({"/tmp/b/hit.txt", "/x/y.txt", "/x/z.txt"}));
    QVERIFY(hitSecond != row({"/tmp/b/hit.txt", "/x/y.txt"}));

    // Hit only in the remark: no file is shown. The remark is elided to a
    // quarter of the row, right of x 482.
    const QImage remarkOnly = row({"/tmp/a/one.txt"}, QString(200, 'R') + "hit");
    QCOMPARE(countPixels(remarkOnly, isInk, QRect(82, 14, 400, 63)), 0);
    QVERIFY(countPixels(remarkOnly, isInk, QRect(482, 55, 186, 22)) > 0);

    // A long name loses its middle: the highlight left of the cut and the count stay.
    const QString longName = "/tmp/HIT" + QString(300, 'x') + "end.txt";
    QVERIFY(countPixels(row({longName, "/tmp/two"}), isYellow, QRect(82, 12, 100, 60)) > 0);
    QVERIFY(row({longName, "/tmp/two"}) != row({longName, "/tmp/two", "/tmp/three"}));
}

// Scaled to the content height, 60, keeping its proportion; a small one is
// not enlarged. The scaled picture is remembered, but never for other pixels.
void TestItemDelegate::imageRows()
{
    const auto redPixels = [](int width, int height, Qt::GlobalColor color) {
        QImage image(width, height, QImage::Format_RGB32);
        image.fill(color);
        QBuffer png;
        image.save(&png, "PNG");
        const auto red = [](QRgb c) { return qRed(c) > 200 && qGreen(c) < 60 && qBlue(c) < 60; };
        return countPixels(paintRow(ItemTypeImage, png.data()), red);
    };
    QCOMPARE(redPixels(1920, 1080, Qt::red), 107 * 60);
    QCOMPARE(redPixels(10, 10, Qt::red), 100);
    QCOMPARE(redPixels(1920, 1080, Qt::blue), 0);
}

QTEST_MAIN(TestItemDelegate)
#include "tst_itemdelegate.moc"
