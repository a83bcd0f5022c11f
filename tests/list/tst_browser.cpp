#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QMimeData>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "support/historyfixture.h"
#include "item/clipboardmodel.h"
#include "list/clipboardbrowser.h"
#include "list/proxymodel.h"
#include "support/tempappfolder.h"

using namespace HistoryFixture;

// The list of one tab, offscreen: keys, menus and what they do to the model
// and the clipboard.
class TestBrowser : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void returnWithSeveralRowsDoesNothing();
    void ctrlCOnSeveralRows_data();
    void ctrlCOnSeveralRows();
    void printableKeyStartsSearch();
    void searchWithoutMatchSetsNoCurrentRow();
    void doubleClickCopiesWithMarker();
    void copyAsPlainText_data();
    void copyAsPlainText();
    void contextMenu_data();
    void contextMenu();
    void menuAddsToTabAndRemovesFromIt();
    void menuDeletesSelectedRows();

private:
    ClipboardBrowser *makeBrowser(const QList<uint> &types, uint tabId);
    void addItems(const QList<ItemData> &items);
    void selectRows(ClipboardBrowser *browser, const QList<int> &rows);
    int proxyRowOfHash(ClipboardBrowser *browser, uint hash) const;
    void openMenu(ClipboardBrowser *browser, int row);

    TempAppFolder folder;
    ClipboardModel *model = nullptr;
    ClipboardWriter *writer = nullptr;
    QList<TabData> userTabs;
};

void TestBrowser::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());
}

void TestBrowser::init()
{
    model = new ClipboardModel();
    writer = new ClipboardWriter(folder.filePath("temp"));
    userTabs.clear();
    QGuiApplication::clipboard()->clear();
}

void TestBrowser::cleanup()
{
    delete writer;
    delete model;
}

ClipboardBrowser *TestBrowser::makeBrowser(const QList<uint> &types, uint tabId)
{
    auto *browser = new ClipboardBrowser(model, writer, types, tabId);
    browser->setAttribute(Qt::WA_DeleteOnClose);
    browser->setCustomTabsProvider([this] { return userTabs; });
    browser->resize(600, 800);
    browser->show();
    return browser;
}

void TestBrowser::addItems(const QList<ItemData> &items)
{
    for (const ItemData &item : items)
        model->addLoadedItem(item);
    emit model->dataChanged(QModelIndex(), QModelIndex());
}

void TestBrowser::selectRows(ClipboardBrowser *browser, const QList<int> &rows)
{
    browser->selectionModel()->clear();
    for (int row : rows)
        browser->selectionModel()->select(browser->model()->index(row, 0), QItemSelectionModel::Select);
}

int TestBrowser::proxyRowOfHash(ClipboardBrowser *browser, uint hash) const
{
    for (int row = 0; row < browser->model()->rowCount(); ++row)
        if (browser->model()->index(row, 0).data().value<ItemData>().hashValue == hash)
            return row;
    return -1;
}

void TestBrowser::openMenu(ClipboardBrowser *browser, int row)
{
    const QPoint pos = browser->visualRect(browser->model()->index(row, 0)).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, browser->viewport()->mapToGlobal(pos));
    QCoreApplication::sendEvent(browser->viewport(), &event);
}

void TestBrowser::returnWithSeveralRowsDoesNothing()
{
    addItems({makeItem(1, ItemTypeText, "one", 100), makeItem(2, ItemTypeText, "two", 200)});
    QScopedPointer<ClipboardBrowser> browser(makeBrowser({ItemTypeText}, 3));
    QSignalSpy finished(browser.data(), &ClipboardBrowser::finishCopyItemSignal);
    QSignalSpy times(model, &ClipboardModel::updateActiveTimeSignal);

    selectRows(browser.data(), {0, 1});
    QTest::keyClick(browser.data(), Qt::Key_Return);

    QCOMPARE(finished.count(), 0);
    QCOMPARE(times.count(), 0);
    QVERIFY(QGuiApplication::clipboard()->text().isEmpty());
}

void TestBrowser::ctrlCOnSeveralRows_data()
{
    QTest::addColumn<QList<uint>>("types");
    QTest::addColumn<bool>("copies");
    QTest::newRow("text and image") << QList<uint>{ItemTypeText, ItemTypeImage} << true;
    QTest::newRow("three texts") << QList<uint>{ItemTypeText, ItemTypeText, ItemTypeText} << true;
    QTest::newRow("two files") << QList<uint>{ItemTypeFile, ItemTypeFile} << true;
    QTest::newRow("file and text") << QList<uint>{ItemTypeFile, ItemTypeText} << false;
}

void TestBrowser::ctrlCOnSeveralRows()
{
    QFETCH(QList<uint>, types);
    QFETCH(bool, copies);
    QList<ItemData> items;
    for (int i = 0; i < types.size(); ++i)
        items.append(makeItem(uint(10 + i), types[i], QStringLiteral("item%1").arg(i), 1000 + i));
    addItems(items);
    QScopedPointer<ClipboardBrowser> browser(makeBrowser({1, 2, 4, 3, 5}, 0));
    QSignalSpy finished(browser.data(), &ClipboardBrowser::finishCopyItemSignal);

    // Selected oldest first: the order of the selection, not of the list,
    // decides which item ends up on top.
    QList<int> rows;
    for (int i = 0; i < items.size(); ++i)
        rows.append(proxyRowOfHash(browser.data(), items[i].hashValue));
    selectRows(browser.data(), rows);
    QCOMPARE(browser->canCopyItems(browser->selectionModel()->selectedIndexes()), copies);
    QTest::keyClick(browser.data(), Qt::Key_C, Qt::ControlModifier);

    QCOMPARE(finished.count(), copies ? 1 : 0);
    if (!copies) {
        QCOMPARE(proxyRowOfHash(browser.data(), items.last().hashValue), 0);
        return;
    }
    QTRY_COMPARE(proxyRowOfHash(browser.data(), items.first().hashValue), 0);
    for (int i = 1; i < items.size(); ++i)
        QCOMPARE(proxyRowOfHash(browser.data(), items[i].hashValue), i);
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    QVERIFY(data->hasFormat(MIME_IGNORE));
    if (!types.contains(ItemTypeImage) && !types.contains(ItemTypeFile)) {
        const QString html = data->html();
        QVERIFY2(html.indexOf("item0") >= 0 && html.indexOf("item0") < html.lastIndexOf("item1"), qPrintable(html));
    }
}

void TestBrowser::printableKeyStartsSearch()
{
    addItems({makeItem(1, ItemTypeText, "one", 100)});
    QScopedPointer<ClipboardBrowser> browser(makeBrowser({ItemTypeText}, 3));
    QSignalSpy search(browser.data(), &ClipboardBrowser::startSearchSignal);
    QTest::keyClick(browser.data(), Qt::Key_Q);
    QCOMPARE(search.count(), 1);
    QCOMPARE(search.first().first().toString(), QStringLiteral("q"));
}

void TestBrowser::searchWithoutMatchSetsNoCurrentRow()
{
    addItems({makeItem(1, ItemTypeText, "alpha", 100), makeItem(2, ItemTypeText, "beta", 200)});
    QScopedPointer<ClipboardBrowser> browser(makeBrowser({ItemTypeText}, 3));
    browser->setCurrentIndex(QModelIndex());

    browser->onFilterTextChanged(QStringLiteral("zzz"));
    QCOMPARE(browser->model()->rowCount(), 0);
    QVERIFY(!browser->currentIndex().isValid());

    browser->onFilterTextChanged(QStringLiteral("ALP"));
    QCOMPARE(browser->model()->rowCount(), 1);
    QCOMPARE(browser->currentIndex().row(), 0);
}

void TestBrowser::doubleClickCopiesWithMarker()
{
    addItems({makeItem(1, ItemTypeText, "first", 100), makeItem(2, ItemTypeText, "second", 200)});
    QScopedPointer<ClipboardBrowser> browser(makeBrowser({ItemTypeText}, 3));
    QSignalSpy finished(browser.data(), &ClipboardBrowser::finishCopyItemSignal);

    const QPoint pos = browser->visualRect(browser->model()->index(1, 0)).center();
    QTest::mouseDClick(browser->viewport(), Qt::LeftButton, Qt::NoModifier, pos);

    QCOMPARE(finished.count(), 1);
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    QCOMPARE(data->text(), QStringLiteral("first"));
    QVERIFY(data->hasFormat(MIME_IGNORE));
    QTRY_COMPARE(proxyRowOfHash(browser.data(), 1), 0);
}

void TestBrowser::copyAsPlainText_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<bool>("copies");
    QTest::addColumn<QString>("text");
    QTest::newRow("rich text gives its text") << uint(ItemTypeRichText) << true << QStringLiteral("bold");
    QTest::newRow("plain text has no html") << uint(ItemTypeText) << true << QString();
    QTest::newRow("link does nothing") << uint(ItemTypeLink) << false << QString();
}

void TestBrowser::copyAsPlainText()
{
    QFETCH(uint, type);
    QFETCH(bool, copies);
    QFETCH(QString, text);
    addItems({makeItem(1, type, "bold", 100)});
    QScopedPointer<ClipboardBrowser> browser(makeBrowser({1, 2, 4, 3, 5}, 0));
    QSignalSpy finished(browser.data(), &ClipboardBrowser::finishCopyItemSignal);
    selectRows(browser.data(), {0});

    QTest::keyClick(browser.data(), Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);

    QCOMPARE(finished.count(), copies ? 1 : 0);
    if (copies)
        QCOMPARE(QGuiApplication::clipboard()->mimeData()->text(), text);
}

void TestBrowser::contextMenu_data()
{
    QTest::addColumn<uint>("tabId");
    QTest::addColumn<QList<uint>>("types");
    QTest::addColumn<QList<uint>>("userTabIds");
    QTest::addColumn<QStringList>("enabled");
    QTest::addColumn<QStringList>("addTo");

    const QStringList all{"复制", "删除", "预览", "编辑备注", "添加到", "移出标签页"};
    QTest::newRow("one row, built-in tab, no user tab")
        << 0u << QList<uint>{ItemTypeText} << QList<uint>{} << QStringList{"复制", "删除", "预览", "编辑备注", "添加到"}
        << QStringList{"无自定义标签页"};
    QTest::newRow("one row, only user tab is this one")
        << 20u << QList<uint>{ItemTypeText} << QList<uint>{20} << all << QStringList{"无其他自定义标签页"};
    QTest::newRow("one row, other user tabs")
        << 20u << QList<uint>{ItemTypeText} << QList<uint>{20, 21, 22} << all << QStringList{"tab21", "tab22"};
    QTest::newRow("files and text in a built-in tab")
        << 0u << QList<uint>{ItemTypeFile, ItemTypeText} << QList<uint>{21} << QStringList{"删除", "添加到"}
        << QStringList{"tab21"};
    QTest::newRow("two texts in a user tab") << 20u << QList<uint>{ItemTypeText, ItemTypeText} << QList<uint>{20}
                                             << QStringList{"复制", "删除", "添加到", "移出标签页"}
                                             << QStringList{"无其他自定义标签页"};
}

void TestBrowser::contextMenu()
{
    QFETCH(uint, tabId);
    QFETCH(QList<uint>, types);
    QFETCH(QList<uint>, userTabIds);
    QFETCH(QStringList, enabled);
    QFETCH(QStringList, addTo);

    QList<ItemData> items;
    for (int i = 0; i < types.size(); ++i) {
        ItemData item = makeItem(uint(30 + i), types[i], QStringLiteral("entry%1").arg(i), 500 + i);
        item.addCustomId(tabId);
        items.append(item);
    }
    addItems(items);
    for (uint id : userTabIds)
        userTabs.append(TabData{id, QStringLiteral("tab%1").arg(id), nullptr, true});
    QScopedPointer<ClipboardBrowser> browser(makeBrowser(tabId < 20 ? QList<uint>{1, 2, 4, 3, 5} : QList<uint>{}, tabId));
    QList<int> rows;
    for (int i = 0; i < types.size(); ++i)
        rows.append(i);
    selectRows(browser.data(), rows);

    QStringList seenEnabled;
    QStringList seenAddTo;
    onNextPopup([&](QMenu *menu) {
        const QList<QAction *> actions = menu->actions();
        for (QAction *action : actions) {
            if (action->isSeparator())
                continue;
            const QString text = action->menu() ? action->menu()->title() : action->text();
            if (action->isEnabled())
                seenEnabled.append(text);
            if (action->menu()) {
                const QList<QAction *> entries = action->menu()->actions();
                for (QAction *entry : entries)
                    seenAddTo.append(entry->text() + (entry->isEnabled() ? "" : " (disabled)"));
            }
        }
        menu->close();
    });
    openMenu(browser.data(), 0);

    QCOMPARE(seenEnabled, enabled);
    QStringList expectedAddTo;
    for (const QString &text : std::as_const(addTo))
        expectedAddTo.append(text.startsWith("无") ? text + " (disabled)" : text);
    QCOMPARE(seenAddTo, expectedAddTo);
}

void TestBrowser::menuAddsToTabAndRemovesFromIt()
{
    addItems({makeItem(1, ItemTypeText, "one", 100), makeItem(2, ItemTypeText, "two", 200)});
    userTabs = {TabData{21, "work", nullptr, true}};
    QScopedPointer<ClipboardBrowser> all(makeBrowser({1, 2, 4, 3, 5}, 0));
    QScopedPointer<ClipboardBrowser> work(makeBrowser({}, 21));
    QCOMPARE(work->model()->rowCount(), 0);

    selectRows(all.data(), {0, 1});
    onNextPopup([](QMenu *menu) {
        QAction *addTo = actionNamed(menu, QString());
        for (QAction *action : menu->actions())
            if (action->menu())
                addTo = action;
        QVERIFY(addTo);
        actionNamed(addTo->menu(), "work")->trigger();
        menu->close();
    });
    openMenu(all.data(), 0);
    QCOMPARE(work->model()->rowCount(), 2);
    QVERIFY(model->items().at(0).hasCustomId(21) && model->items().at(1).hasCustomId(21));

    selectRows(work.data(), {0});
    onNextPopup([](QMenu *menu) {
        actionNamed(menu, "移出标签页")->trigger();
        menu->close();
    });
    openMenu(work.data(), 0);
    QCOMPARE(work->model()->rowCount(), 1);
    QCOMPARE(all->model()->rowCount(), 2);
}

void TestBrowser::menuDeletesSelectedRows()
{
    addItems({makeItem(1, ItemTypeText, "one", 100), makeItem(2, ItemTypeText, "two", 200),
              makeItem(3, ItemTypeText, "three", 300)});
    QScopedPointer<ClipboardBrowser> browser(makeBrowser({ItemTypeText}, 3));
    QSignalSpy deleted(model, &ClipboardModel::deleteItemSignal);

    selectRows(browser.data(), {0, 2});
    onNextPopup([](QMenu *menu) {
        actionNamed(menu, "删除")->trigger();
        menu->close();
    });
    openMenu(browser.data(), 0);

    QCOMPARE(deleted.count(), 2);
    QCOMPARE(model->rowCount(), 1);
    QCOMPARE(model->items().first().hashValue, 2u);
}

QTEST_MAIN(TestBrowser)
#include "tst_browser.moc"
