#include <memory>

#include <QAbstractItemModelTester>
#include <QtTest>

#include "common/mime.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"
#include "list/proxymodel.h"

namespace {

// Items are told apart by their exe path entry, which nothing searches.
ItemData makeItem(const QString &name, uint type, qulonglong time, const QVariantMap &entries)
{
    ItemData item;
    item.itemType = type;
    item.createTime = item.lastActiveTime = time;
    item.dataMap = entries;
    item.dataMap.insert(MIME_EXE_PATH, name);
    item.hashValue = hashDataMap(item.dataMap, identityKeys()) ^ qHash(name);
    return item;
}

QByteArray files(const QStringList &paths)
{
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls << QUrl::fromLocalFile(path);
    return serializeUrls(urls);
}

QStringList names(const QAbstractItemModel &proxy)
{
    QStringList result;
    for (int row = 0; row < proxy.rowCount(); ++row)
        result << proxy.index(row, 0).data().value<ItemData>().dataMap.value(MIME_EXE_PATH).toString();
    return result;
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

const QList<QPair<QList<uint>, uint>> kTabs = {
    {{1, 2, 4, 3, 5}, 0}, {{1}, 1}, {{2}, 2}, {{4, 3}, 3}, {{5}, 4}, {{}, 20}, {{}, 21}, {{}, 22}};

} // namespace

class TestProxyModel : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void filter_data();
    void filter();
    void followsChanges();
    void narrowingSearch();
    void manyRowsComeAndGo();
    void order();

private:
    std::unique_ptr<ClipboardModel> model;
    QList<std::shared_ptr<ProxyModel>> proxies;
    ProxyModel *proxyOf(uint tabId) const;
};

void TestProxyModel::init()
{
    proxies.clear();
    model = std::make_unique<ClipboardModel>();
    // Newest last, so that the tabs list them from the bottom of this table up.
    QList<ItemData> items = {
        makeItem("text", ItemTypeText, 10, {{MIME_TEXT, "some ABC text"}}),
        makeItem("rich", ItemTypeRichText, 11, {{MIME_HTML, "<p title=\"abc\">x<b>a</b>bc</p>"}}),
        makeItem("ocr", ItemTypeImage, 12, {{MIME_IMAGE_PNG, QByteArray("png1")}}),
        makeItem("bare", ItemTypeImage, 13, {{MIME_IMAGE_PNG, QByteArray("png2")}}),
        makeItem("noted", ItemTypeImage, 14,
                 {{MIME_IMAGE_PNG, QByteArray("png3")}, {MIME_REMARK, "an aBc note"}}),
        makeItem("titled", ItemTypeLink, 15, {{MIME_TEXT, "http://x.org"}, {MIME_WEB_TITLE, "The ABC"}}),
        makeItem("link", ItemTypeLink, 16, {{MIME_TEXT, "http://abc.org"}}),
        makeItem("file", ItemTypeFile, 17, {{MIME_URI_LIST, files({"/tmp/x/one.txt", "/tmp/y/ABC.txt"})}}),
        makeItem("folder", ItemTypeFile, 18, {{MIME_URI_LIST, files({"/tmp/abc/other.txt"})}}),
        makeItem("plain", ItemTypeText, 19, {{MIME_TEXT, "nothing here"}}),
    };
    items[0].addCustomId(20);
    items[2].ocrResults = {OCRResult{QPolygon(), "no"}, OCRResult{QPolygon(), "xabcx"}};
    items[3].addCustomId(21);
    for (const ItemData &item : items)
        model->addLoadedItem(item);
    for (const auto &tab : kTabs) {
        auto proxy = std::make_shared<ProxyModel>(tab.first, tab.second);
        proxy->setSourceModel(model.get());
        proxy->resort();
        connect(model.get(), &QAbstractItemModel::dataChanged, proxy.get(), &ProxyModel::resort);
        new QAbstractItemModelTester(proxy.get(), QAbstractItemModelTester::FailureReportingMode::QtTest,
                                     proxy.get());
        proxies << proxy;
    }
}

ProxyModel *TestProxyModel::proxyOf(uint tabId) const
{
    for (int i = 0; i < kTabs.size(); ++i) {
        if (kTabs.at(i).second == tabId)
            return proxies.at(i).get();
    }
    return nullptr;
}

void TestProxyModel::filter_data()
{
    QTest::addColumn<uint>("tabId");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QStringList>("expected");

    const QStringList all = {"plain", "folder", "file", "link", "titled",
                             "noted", "bare",   "ocr",  "rich", "text"};
    QTest::newRow("all, no search") << 0u << "" << all;
    QTest::newRow("image") << 1u << "" << QStringList{"noted", "bare", "ocr"};
    QTest::newRow("file") << 2u << "" << QStringList{"folder", "file"};
    QTest::newRow("text and rich text") << 3u << "" << QStringList{"plain", "rich", "text"};
    QTest::newRow("link") << 4u << "" << QStringList{"link", "titled"};
    QTest::newRow("user tab") << 20u << "" << QStringList{"text"};
    QTest::newRow("user tab of an image") << 21u << "" << QStringList{"bare"};
    QTest::newRow("empty user tab") << 22u << "" << QStringList{};
    // Tags of rich text and the folders of files are not searched.
    QTest::newRow("abc everywhere") << 0u << "abc"
                                    << QStringList{"file", "link", "titled", "noted", "ocr", "rich", "text"};
    QTest::newRow("dot is a metacharacter") << 3u << "a.c" << QStringList{"rich", "text"};
    QTest::newRow("tags not searched") << 3u << "title" << QStringList{};
    QTest::newRow("anchored in OCR text") << 1u << "^xabc" << QStringList{"ocr"};
    QTest::newRow("address before title") << 4u << "org" << QStringList{"link", "titled"};
    QTest::newRow("invalid expression") << 0u << "(" << QStringList{};
    QTest::newRow("search within a user tab") << 20u << "nothing" << QStringList{};
}

void TestProxyModel::filter()
{
    QFETCH(uint, tabId);
    QFETCH(QString, pattern);
    QFETCH(QStringList, expected);
    // Every tab gets the pattern, as the browsers do, so that answers are shared.
    for (const auto &proxy : proxies)
        proxy->setFilterRegularExpression(
            QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption));
    QCOMPARE(names(*proxyOf(tabId)), expected);
}

void TestProxyModel::followsChanges()
{
    const QRegularExpression expression("needle", QRegularExpression::CaseInsensitiveOption);
    for (const auto &proxy : proxies)
        proxy->setFilterRegularExpression(expression);
    QCOMPARE(names(*proxyOf(0)), QStringList());

    const auto rowOf = [&](const QString &name) {
        for (int row = 0; row < model->rowCount(); ++row) {
            if (model->items().at(row).dataMap.value(MIME_EXE_PATH).toString() == name)
                return row;
        }
        return -1;
    };
    const auto hashOf = [&](const QString &name) { return model->items().at(rowOf(name)).hashValue; };

    model->setItemRemark(model->index(rowOf("plain")), "a NEEDLE");
    model->onFinishOcr(hashOf("bare"), {OCRResult{QPolygon(), "needles"}});
    model->onFetchWebTitle(hashOf("link"), "needle page");
    model->updateItemText(hashOf("text"), "the needle");
    // Remark and text edit both take the clock, possibly the same millisecond.
    QCOMPARE(sorted(names(*proxyOf(0))), (QStringList{"bare", "link", "plain", "text"}));
    QCOMPARE(names(*proxyOf(1)), QStringList{"bare"});
    QCOMPARE(names(*proxyOf(20)), QStringList{"text"});
    QCOMPARE(names(*proxyOf(21)), QStringList{"bare"});

    // A new row shifts the remembered answers of every row below it.
    model->addItem(makeItem("new", ItemTypeText, 100, {{MIME_TEXT, "no match"}}));
    model->removeRow(rowOf("folder"));
    model->setItemRemark(model->index(rowOf("plain")), "");
    ItemData replaced = model->items().at(rowOf("ocr"));
    replaced.ocrResults = {OCRResult{QPolygon(), "needle"}};
    model->setData(model->index(rowOf("ocr")), QVariant::fromValue(replaced));
    model->onFetchWebTitle(hashOf("link"), "other page");
    QCOMPARE(sorted(names(*proxyOf(0))), (QStringList{"bare", "ocr", "text"}));
    QCOMPARE(names(*proxyOf(4)), QStringList());

    for (const auto &proxy : proxies)
        proxy->setFilterRegularExpression(QRegularExpression());
    QCOMPARE(proxyOf(0)->rowCount(), model->rowCount());
}

// Typing on skips rows that the shorter text missed; a row changed in
// between is asked again.
void TestProxyModel::narrowingSearch()
{
    const auto search = [&](const QString &pattern) {
        for (const auto &proxy : proxies)
            proxy->setFilterRegularExpression(
                QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption));
        return sorted(names(*proxyOf(0)));
    };
    QCOMPARE(search("te"), (QStringList{"noted", "text"}));
    model->setItemRemark(model->index(0), "tex");
    QCOMPARE(search("tex"), (QStringList{"plain", "text"}));
    QCOMPARE(search("text"), QStringList{"text"});
    QCOMPARE(search("t.xt"), QStringList{"text"});
    QCOMPARE(search("(t)ex"), (QStringList{"plain", "text"}));
}

// A search that shows or hides hundreds of rows rebuilds each tab at once.
void TestProxyModel::manyRowsComeAndGo()
{
    for (int i = 0; i < 600; ++i)
        model->addLoadedItem(makeItem(QString("bulk%1").arg(i), ItemTypeText, 20 + i,
                                      {{MIME_TEXT, QString("bulk%1").arg(i)}}));
    ProxyModel *all = proxyOf(0);
    const QPersistentModelIndex kept = all->index(all->rowCount() - 1, 0);
    const auto search = [&](const QString &pattern) {
        for (const auto &proxy : proxies)
            proxy->setFilterRegularExpression(
                QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption));
    };
    search("nothing");
    QCOMPARE(names(*all), QStringList{"plain"});
    QVERIFY(!kept.isValid());
    search("");
    QCOMPARE(all->rowCount(), model->rowCount());
    QCOMPARE(proxyOf(3)->rowCount(), 603);
    for (int row = 1; row < all->rowCount(); ++row) {
        QVERIFY(all->index(row - 1, 0).data().value<ItemData>().lastActiveTime >=
                all->index(row, 0).data().value<ItemData>().lastActiveTime);
    }
    const QPersistentModelIndex top = all->index(0, 0);
    search("bulk5");
    QCOMPARE(all->rowCount(), 111);
    QCOMPARE(top.data().value<ItemData>().dataMap.value(MIME_EXE_PATH).toString(), QString("bulk599"));
    QCOMPARE(top.row(), 0);
}

void TestProxyModel::order()
{
    ProxyModel *all = proxyOf(0);
    model->updateItemActiveTime(model->items().at(model->rowCount() - 1).hashValue);
    QCOMPARE(names(*all).first(), QString("text"));
    QCOMPARE(names(*proxyOf(3)).first(), QString("text"));
    QCOMPARE(names(*proxyOf(20)).first(), QString("text"));
    model->setItemCustomId(model->items().at(0).hashValue, 22, false);
    QCOMPARE(names(*all).first(), QString("plain"));
    QCOMPARE(names(*proxyOf(22)), QStringList{"plain"});
    // Equal times: both shown, in either order.
    model->setItemActiveTime(model->index(1), 5);
    model->setItemActiveTime(model->index(2), 5);
    QCOMPARE(all->rowCount(), model->rowCount());
    QCOMPARE(all->index(all->rowCount() - 1, 0).data().value<ItemData>().lastActiveTime, 5ULL);
    QCOMPARE(all->index(all->rowCount() - 2, 0).data().value<ItemData>().lastActiveTime, 5ULL);
}

QTEST_MAIN(TestProxyModel)
#include "tst_proxymodel.moc"
