#include <memory>

#include <QtTest>

#include "common/mime.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "list/proxymodel.h"

namespace {

// Items are named by their exe path entry, which nothing searches, and known
// by the hash of that name.
ItemData makeItem(const QString &name, uint type, qulonglong time, const QVariantMap &entries)
{
    ItemData item;
    item.itemType = type;
    item.createTime = item.lastActiveTime = time;
    item.dataMap = entries;
    item.dataMap.insert(MIME_EXE_PATH, name);
    item.hashValue = qHash(name);
    return item;
}

} // namespace

// Three tabs over one shared model: all, text and a user tab.
class TestProxyModel : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void filter_data();
    void filter();
    void remembersAnswers();
    void manyRowsComeAndGo();

private:
    // Every tab gets the pattern, as the browsers do, so that answers are shared.
    void search(const QString &pattern);
    QStringList names(uint tabId) const;

    std::unique_ptr<ClipboardModel> model;
    QMap<uint, std::shared_ptr<ProxyModel>> tabs;
};

void TestProxyModel::init()
{
    tabs.clear();
    model = std::make_unique<ClipboardModel>();
    const auto files = [](const QStringList &paths) {
        QList<QUrl> urls;
        for (const QString &path : paths)
            urls << QUrl::fromLocalFile(path);
        return serializeUrls(urls);
    };
    QList<ItemData> items = {
        makeItem("text", ItemTypeText, 10, {{MIME_TEXT, "some ABC text"}}),
        makeItem("rich", ItemTypeRichText, 11, {{MIME_HTML, "<p title=\"abc\">x<b>a</b>bc</p>"}}),
        makeItem("ocr", ItemTypeImage, 12, {{MIME_IMAGE_PNG, QByteArray("png1")}}),
        makeItem("bare", ItemTypeImage, 13, {{MIME_IMAGE_PNG, QByteArray("png2")}}),
        makeItem("noted", ItemTypeImage, 14, {{MIME_IMAGE_PNG, QByteArray("png3")}, {MIME_REMARK, "aBc"}}),
        makeItem("titled", ItemTypeLink, 15, {{MIME_TEXT, "http://x.org"}, {MIME_WEB_TITLE, "The ABC"}}),
        makeItem("link", ItemTypeLink, 16, {{MIME_TEXT, "http://abc.org"}}),
        makeItem("file", ItemTypeFile, 17, {{MIME_URI_LIST, files({"/tmp/x/one.txt", "/tmp/y/ABC.txt"})}}),
        makeItem("folder", ItemTypeFile, 18, {{MIME_URI_LIST, files({"/tmp/abc/other.txt"})}}),
        makeItem("plain", ItemTypeText, 19, {{MIME_TEXT, "nothing here"}}),
    };
    items[0].addCustomId(20);
    items[2].ocrResults = {OCRResult{QPolygon(), "no"}, OCRResult{QPolygon(), "xabcx"}};
    items[3].addCustomId(20);
    for (const ItemData &item : items)
        model->addLoadedItem(item);
    const QList<QPair<uint, QList<uint>>> kinds = {{0, {1, 2, 4, 3, 5}}, {3, {4, 3}}, {20, {}}};
    for (const auto &[tabId, types] : kinds) {
        auto proxy = tabs[tabId] = std::make_shared<ProxyModel>(types, tabId);
        proxy->setSourceModel(model.get());
        connect(model.get(), &QAbstractItemModel::dataChanged, proxy.get(), &ProxyModel::resort);
    }
}

void TestProxyModel::search(const QString &pattern)
{
    for (const auto &proxy : std::as_const(tabs))
        proxy->setFilterRegularExpression(
            QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption));
}

QStringList TestProxyModel::names(uint tabId) const
{
    QStringList result;
    const ProxyModel &proxy = *tabs.value(tabId);
    for (int row = 0; row < proxy.rowCount(); ++row)
        result << proxy.index(row, 0).data().value<ItemData>().dataMap.value(MIME_EXE_PATH).toString();
    return result;
}

void TestProxyModel::filter_data()
{
    QTest::addColumn<uint>("tabId");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("all, newest first") << 0u << "" << QStringList{"plain", "folder", "file", "link", "titled",
                                                                  "noted", "bare",   "ocr",  "rich", "text"};
    QTest::newRow("text and rich text") << 3u << "" << QStringList{"plain", "rich", "text"};
    QTest::newRow("user tab, any type") << 20u << "" << QStringList{"bare", "text"};
    // Tags of rich text and the folders of files are not searched.
    QTest::newRow("abc everywhere") << 0u << "abc"
                                    << QStringList{"file", "link", "titled", "noted", "ocr", "rich", "text"};
    QTest::newRow("dot is a metacharacter") << 3u << "a.c" << QStringList{"rich", "text"};
    QTest::newRow("tags not searched") << 3u << "title" << QStringList{};
    QTest::newRow("anchored in OCR and raw text") << 0u << "^xabc" << QStringList{"ocr", "rich"};
    QTest::newRow("address before title") << 0u << "org" << QStringList{"link", "titled"};
    QTest::newRow("invalid expression") << 0u << "(" << QStringList{};
    QTest::newRow("search within a user tab") << 20u << "nothing" << QStringList{};
}

void TestProxyModel::filter()
{
    QFETCH(uint, tabId);
    QFETCH(QString, pattern);
    QFETCH(QStringList, expected);
    search(pattern);
    QCOMPARE(names(tabId), expected);
}

// What the filters remember per row is forgotten when the row changes, and
// moves with it when rows come and go. Typing on skips the rows that the
// shorter text missed, unless they changed in between.
void TestProxyModel::remembersAnswers()
{
    search("needle");
    QCOMPARE(names(0), QStringList());
    model->onFinishOcr(qHash(QString("bare")), {OCRResult{QPolygon(), "needles"}});
    model->onFetchWebTitle(qHash(QString("link")), "needle page");
    // An edited text is removed and comes back on top.
    model->updateItemText(qHash(QString("text")), "the needle");
    QCOMPARE(names(0), (QStringList{"text", "link", "bare"}));
    QCOMPARE(names(20), (QStringList{"text", "bare"}));

    model->addItem(makeItem("new", ItemTypeText, 100, {{MIME_TEXT, "no match"}}));
    model->removeItem(qHash(QString("folder")));
    model->onFinishOcr(qHash(QString("ocr")), {OCRResult{QPolygon(), "needle"}});
    model->onFetchWebTitle(qHash(QString("link")), "other page");
    model->onFetchWebTitle(qHash(QString("titled")), "needles");
    QCOMPARE(names(0), (QStringList{"text", "titled", "bare", "ocr"}));
    // Each expression has answers of its own, a few of them at once.
    const QList<QPair<QString, QStringList>> typing = {{"needles", {"titled", "bare"}},
                                                       {"need.es", {"titled", "bare"}},
                                                       {"(needles)", {"titled", "bare"}},
                                                       {"NEEDLE", {"text", "titled", "bare", "ocr"}}};
    for (const auto &[pattern, expected] : typing) {
        search(pattern);
        QCOMPARE(names(0), expected);
    }
}

// A search that shows or hides hundreds of rows rebuilds the tab in one pass:
// the rows and their order must be those of the row-by-row update, and an
// index held on a row that stays must follow it.
void TestProxyModel::manyRowsComeAndGo()
{
    for (int i = 0; i < 600; ++i)
        model->addLoadedItem(makeItem(QString("bulk%1").arg(i), ItemTypeText, 20 + i,
                                      {{MIME_TEXT, QString("bulk%1").arg(i)}}));
    search("nothing");
    QCOMPARE(names(0), QStringList{"plain"});
    search("");
    QCOMPARE(tabs[3]->rowCount(), 603);
    QCOMPARE(names(0).mid(598), (QStringList{"bulk1", "bulk0", "plain", "folder", "file", "link", "titled",
                                             "noted", "bare", "ocr", "rich", "text"}));
    const QPersistentModelIndex top = tabs[0]->index(0, 0);
    search("bulk5");
    QCOMPARE(tabs[0]->rowCount(), 111);
    QCOMPARE(top.row(), 0);
    QCOMPARE(names(0).first(), QString("bulk599"));
}

QTEST_MAIN(TestProxyModel)
#include "tst_proxymodel.moc"
