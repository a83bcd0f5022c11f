#include <memory>

#include <QClipboard>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QStandardPaths>
#include <QtTest>

#include "app/metatypes.h"
#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "item/clipboardmodel.h"
#include "list/clipboardbrowser.h"
#include "list/visiblerows.h"
#include "support/historyfixture.h"
#include "support/tempappfolder.h"

using namespace HistoryFixture;

namespace {

// Opens the context menu on the first row and chooses `command` in it or in
// its submenu; returns the entries that were disabled.
QStringList runMenu(ClipboardBrowser *browser, const QString &command = QString())
{
    QStringList disabled = {"no menu"};
    const QPointer<QTimer> watcher = onNextPopup([&](QMenu *menu) {
        disabled.clear();
        for (QMenu *level : {menu, menu->findChild<QMenu *>()}) {
            for (const QAction *action : level->actions()) {
                if (!action->isEnabled())
                    disabled << action->text();
            }
            if (QAction *action = command.isEmpty() ? nullptr : actionNamed(level, command))
                action->trigger();
        }
        menu->close();
    });
    const QPoint pos = browser->visualRect(browser->model()->index(0, 0)).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, browser->viewport()->mapToGlobal(pos));
    QCoreApplication::sendEvent(browser->viewport(), &event);
    delete watcher; // still there if no menu showed
    return disabled;
}

QList<uint> shownHashes(const ClipboardBrowser &browser)
{
    QList<uint> hashes;
    for (int row = 0; row < browser.model()->rowCount(); ++row)
        hashes << browser.model()->index(row, 0).data().value<ItemData>().hashValue;
    return hashes;
}

} // namespace

class TestBrowser : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void keysAndClicks_data();
    void keysAndClicks();
    void menuCommands();
    void digitHints();

private:
    // One item per type, "item0" the oldest with hash 1, in tab `tabId`.
    std::unique_ptr<ClipboardBrowser> makeBrowser(const QList<uint> &types, uint tabId = 0);

    TempAppFolder folder;
    std::unique_ptr<ClipboardModel> model;
    std::unique_ptr<ClipboardWriter> writer;
    QList<TabData> userTabs;
};

void TestBrowser::init()
{
    QStandardPaths::setTestModeEnabled(true);
    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());
    model = std::make_unique<ClipboardModel>();
    writer = std::make_unique<ClipboardWriter>(folder.filePath("temp"));
    userTabs.clear();
    QGuiApplication::clipboard()->clear();
}

std::unique_ptr<ClipboardBrowser> TestBrowser::makeBrowser(const QList<uint> &types, uint tabId)
{
    for (int i = 0; i < types.size(); ++i) {
        ItemData item = makeItem(uint(1 + i), types[i], QStringLiteral("item%1").arg(i), 1000 + i);
        item.addCustomId(tabId);
        model->addLoadedItem(item);
    }
    const QList<uint> builtIn = tabId < 20 ? QList<uint>{1, 2, 4, 3, 5} : QList<uint>();
    auto browser = std::make_unique<ClipboardBrowser>(model.get(), writer.get(), builtIn, tabId);
    browser->setCustomTabsProvider([this] { return userTabs; });
    browser->resize(600, 800);
    browser->show();
    return browser;
}

void TestBrowser::keysAndClicks_data()
{
    QTest::addColumn<QList<uint>>("types");
    QTest::addColumn<QKeySequence>("keys");
    QTest::addColumn<bool>("copies");
    QTest::addColumn<QString>("text");
    const QKeySequence copy(Qt::CTRL | Qt::Key_C);
    const QKeySequence plain(Qt::CTRL | Qt::SHIFT | Qt::Key_C);
    const QList<uint> texts = {ItemTypeText, ItemTypeText};
    QTest::newRow("double click") << texts << QKeySequence() << true << "item0";
    QTest::newRow("Return on two rows") << texts << QKeySequence(Qt::Key_Return) << false << QString();
    QTest::newRow("Space") << QList<uint>{ItemTypeText} << QKeySequence(Qt::Key_Space) << false << QString();
    QTest::newRow("printable key") << texts << QKeySequence(Qt::Key_Q) << false << QString();
    QTest::newRow("text and image") << QList<uint>{ItemTypeText, ItemTypeImage} << copy << true << QString();
    QTest::newRow("three texts") << texts + QList<uint>{ItemTypeText} << copy << true << QString();
    QTest::newRow("two files") << QList<uint>{ItemTypeFile, ItemTypeFile} << copy << true << QString();
    QTest::newRow("file and text") << QList<uint>{ItemTypeFile, ItemTypeText} << copy << false << QString();
    QTest::newRow("plain text of rich text") << QList<uint>{ItemTypeRichText} << plain << true << "item0";
    QTest::newRow("plain text of text is empty") << QList<uint>{ItemTypeText} << plain << true << "";
    QTest::newRow("no plain text of a link") << QList<uint>{ItemTypeLink} << plain << false << QString();
}

// Keys act on all rows selected, a double click on the oldest row only. The
// order of the selection, oldest first, decides which item ends up on top.
void TestBrowser::keysAndClicks()
{
    QFETCH(QList<uint>, types);
    QFETCH(QKeySequence, keys);
    QFETCH(bool, copies);
    QFETCH(QString, text);
    const auto browser = makeBrowser(types);
    QSignalSpy finished(browser.get(), &ClipboardBrowser::finishCopyItemSignal);
    QSignalSpy search(browser.get(), &ClipboardBrowser::startSearchSignal);
    QSignalSpy preview(browser.get(), &ClipboardBrowser::previewRequested);
    QList<uint> order;
    for (int i = types.size() - 1; i >= 0; --i) {
        browser->selectionModel()->select(browser->model()->index(i, 0), QItemSelectionModel::Select);
        copies ? order.append(uint(types.size() - i)) : order.prepend(uint(types.size() - i));
    }
    if (keys.isEmpty()) {
        const QPoint pos = browser->visualRect(browser->model()->index(types.size() - 1, 0)).center();
        QTest::mouseClick(browser->viewport(), Qt::LeftButton, Qt::NoModifier, pos);
        QTest::mouseDClick(browser->viewport(), Qt::LeftButton, Qt::NoModifier, pos);
    }
    QTest::keySequence(browser.get(), keys);

    QCOMPARE(finished.count(), copies ? 1 : 0);
    QTRY_COMPARE(shownHashes(*browser), order);
    QCOMPARE(search.value(0).value(0).toString(), keys == QKeySequence(Qt::Key_Q) ? "q" : "");
    QCOMPARE(preview.size(), keys == QKeySequence(Qt::Key_Space) ? 1 : 0);
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    QCOMPARE(data && data->hasFormat(MIME_IGNORE), copies);
    if (!text.isNull())
        QCOMPARE(data->text(), text);
    if (copies && text.isNull() && !types.contains(ItemTypeImage) && !types.contains(ItemTypeFile))
        QVERIFY(data->html().contains(
            QRegularExpression("item0.*item1.*item2", QRegularExpression::DotMatchesEverythingOption)));
}

// The menu's entries follow the selection and the user tabs; its commands act
// on every row selected.
void TestBrowser::menuCommands()
{
    const auto all = makeBrowser({ItemTypeFile, ItemTypeText, ItemTypeText});
    const auto work = makeBrowser({}, 21);
    all->selectAll();
    QCOMPARE(runMenu(all.get()), QStringList({"复制", "预览", "编辑备注", "移出标签页", "无自定义标签页"}));

    userTabs = {TabData{21, "work", nullptr, true}};
    all->selectionModel()->select(all->model()->index(2, 0), QItemSelectionModel::Deselect);
    QCOMPARE(runMenu(all.get(), "work"), QStringList({"预览", "编辑备注", "移出标签页"}));
    QCOMPARE(shownHashes(*work), (QList<uint>{2, 3}));

    work->setCurrentIndex(work->model()->index(0, 0));
    QCOMPARE(runMenu(work.get(), "移出标签页"), QStringList{"无其他自定义标签页"});
    QCOMPARE(shownHashes(*work), QList<uint>{3});
    QCOMPARE(shownHashes(*all), (QList<uint>{2, 3, 1}));

    QSignalSpy deleted(model.get(), &ClipboardModel::deleteItemSignal);
    all->clearSelection();
    for (int row : {0, 2})
        all->selectionModel()->select(all->model()->index(row, 0), QItemSelectionModel::Select);
    runMenu(all.get(), "删除");
    QCOMPARE(deleted.count(), 2);
    QCOMPARE(shownHashes(*all), QList<uint>{3});

    // A remark typed into its dialog and confirmed with Return stays on the item.
    all->setCurrentIndex(all->model()->index(0, 0));
    onNextModal([](QWidget *dialog) {
        auto *edit = dialog->findChild<QLineEdit *>();
        QTest::keyClicks(edit, "my note");
        QTest::keyClick(edit, Qt::Key_Return);
    });
    runMenu(all.get(), "编辑备注");
    QCOMPARE(all->model()->index(0, 0).data().value<ItemData>().remark(), QString("my note"));
}

// While Ctrl is held the rows on screen are numbered from the top one, also
// after a scroll, and a digit copies the row that shows it.
void TestBrowser::digitHints()
{
    const auto browser = makeBrowser(QList<uint>(30, ItemTypeText));
    QVERIFY(QTest::qWaitForWindowExposed(browser.get()));
    quickCopyModeOn = true;
    resetVisibleRows();
    for (int top : {0, 3}) {
        browser->scrollTo(browser->model()->index(top, 0), QAbstractItemView::PositionAtTop);
        browser->viewport()->grab();
        QVERIFY(visibleRowMap.size() >= 7 && visibleRowMap.lastKey() == visibleRowMap.size());
        browser->copyRow(visibleRowMap.value(1));
        QCOMPARE(QGuiApplication::clipboard()->text(), QString("item%1").arg(29 - top));
    }
    quickCopyModeOn = false;
}

QTEST_MAIN(TestBrowser)
#include "tst_browser.moc"
