#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPointer>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTabBar>
#include <QTest>

#include "app/metatypes.h"
#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "common/setting.h"
#include "support/historyfixture.h"
#include "item/clipboardmodel.h"
#include "list/clipboardbrowser.h"
#include "list/proxymodel.h"
#include "support/tempappfolder.h"
#include "window/tabbar.h"
#include "window/tabwidget.h"

using namespace HistoryFixture;

// User tabs: names, ids, order, deletion, and the keys that switch tabs.
class TestTabs : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void firstStartKeepsDefaultOrder();
    void nameRules_data();
    void nameRules();
    void createdTabsReuseTheLowestFreeId();
    void editWithoutChangeSendsNothing();
    void editOnlyTheFlagPassesTheDuplicateCheck();
    void orderIsSavedAndRestored();
    void orderMissingATabIsDropped();
    void movingATabMovesItsPage();
    void leftAndRightInTheListSwitchTabs();

private:
    void addBrowserTab(uint tabId, const QString &name, const QList<uint> &types, bool autoDelete, bool save);
    // Answers the next tab dialog with `name` and `autoDelete`, then accept.
    void answerTabDialog(const QString &name, bool autoDelete);
    QList<uint> order() const;

    TempAppFolder folder;
    ClipboardModel *model = nullptr;
    ClipboardWriter *writer = nullptr;
    TabWidget *tabs = nullptr;
};

void TestTabs::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());
}

void TestTabs::init()
{
    Setting::instance().removeTabOrder();
    model = new ClipboardModel();
    writer = new ClipboardWriter(folder.filePath("temp"));
    tabs = new TabWidget(model);
    tabs->setUserTabFactory([this](uint tabId, const QString &name, bool autoDelete) {
        addBrowserTab(tabId, name, {}, autoDelete, true);
    });
    addBrowserTab(0, "all", {1, 2, 4, 3, 5}, true, false);
    addBrowserTab(1, "image", {1}, true, false);
    addBrowserTab(3, "text", {4, 3}, true, false);
    addBrowserTab(2, "file", {2}, true, false);
    addBrowserTab(4, "link", {5}, true, false);
    tabs->resize(600, 700);
    tabs->show();
}

void TestTabs::cleanup()
{
    delete tabs;
    delete writer;
    delete model;
}

void TestTabs::addBrowserTab(uint tabId, const QString &name, const QList<uint> &types, bool autoDelete, bool save)
{
    auto *browser = new ClipboardBrowser(model, writer, types, tabId);
    browser->installEventFilter(tabs->bar());
    tabs->addTab(tabId, name, browser, autoDelete, save);
}

void TestTabs::answerTabDialog(const QString &name, bool autoDelete)
{
    onNextModal([name, autoDelete](QWidget *dialog) {
        dialog->findChild<QLineEdit *>()->setText(name);
        dialog->findChild<QCheckBox *>()->setChecked(autoDelete);
        clickButton(dialog, QStringLiteral("确定"));
    });
}

QList<uint> TestTabs::order() const
{
    QList<uint> ids;
    for (int i = 0; i < tabs->bar()->count(); ++i)
        ids.append(tabs->bar()->tabData(i).value<TabData>().tabId);
    return ids;
}

void TestTabs::firstStartKeepsDefaultOrder()
{
    QList<uint> saved;
    tabs->restoreTabOrder();
    QCOMPARE(order(), (QList<uint>{0, 1, 3, 2, 4}));
    QVERIFY(!Setting::instance().getTabOrder(saved));
}

void TestTabs::nameRules_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("exclude");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("message");
    QTest::newRow("empty") << QString() << -1 << false << QString();
    QTest::newRow("50 characters") << QString(50, 'x') << -1 << true << QString();
    QTest::newRow("51 characters") << QString(51, 'x') << -1 << false << QStringLiteral("标签页名字超过50个字符");
    QTest::newRow("built-in name") << QStringLiteral("all") << -1 << false << QStringLiteral("重复的标签页名字");
    QTest::newRow("own name left out") << QStringLiteral("all") << 0 << true << QString();
    QTest::newRow("case differs") << QStringLiteral("All") << -1 << true << QString();
}

void TestTabs::nameRules()
{
    QFETCH(QString, name);
    QFETCH(int, exclude);
    QFETCH(bool, valid);
    QFETCH(QString, message);

    QStringList shown;
    QPointer<QTimer> watcher = onNextModal([&shown](QWidget *dialog) {
        shown = labelTexts(dialog);
        clickButton(dialog, QStringLiteral("确定"));
    });
    QCOMPARE(tabs->isTabNameValid(name, exclude), valid);
    if (message.isEmpty()) {
        QVERIFY(shown.isEmpty());
        // No dialog came, so its watcher must not catch a later one.
        delete watcher;
    } else {
        QVERIFY2(shown.contains(message), qPrintable(shown.join('|')));
    }
}

void TestTabs::createdTabsReuseTheLowestFreeId()
{
    QSignalSpy inserted(tabs, &TabWidget::insertTabDataSignal);
    QSignalSpy deleted(tabs, &TabWidget::deleteTabSignal);

    answerTabDialog("work", false);
    tabs->onCreateNewTab();
    answerTabDialog("home", true);
    tabs->onCreateNewTab();
    QCOMPARE(order(), (QList<uint>{0, 1, 3, 2, 4, 20, 21}));
    QList<uint> saved;
    QVERIFY(Setting::instance().getTabOrder(saved));
    QCOMPARE(saved, order());
    TabAutoDeleteMap flags;
    tabs->fillTabAutoDeleteMap(flags);
    QCOMPARE(flags, (TabAutoDeleteMap{{20, false}, {21, true}}));

    ItemData item = makeItem(7, ItemTypeText, "kept", 100);
    item.addCustomId(20);
    model->addLoadedItem(item);
    emit model->dataChanged(QModelIndex(), QModelIndex());
    QCOMPARE(tabs->browsers().at(5)->model()->rowCount(), 1);

    onNextModal([](QWidget *dialog) { clickButton(dialog, QStringLiteral("确定")); });
    tabs->onDeleteTab(5);
    QCOMPARE(deleted.count(), 1);
    QCOMPARE(deleted.first().first().toUInt(), 20u);
    QVERIFY(!model->items().first().hasCustomId(20));
    QCOMPARE(model->rowCount(), 1);

    answerTabDialog("again", true);
    tabs->onCreateNewTab();
    QCOMPARE(order(), (QList<uint>{0, 1, 3, 2, 4, 21, 20}));
    QCOMPARE(tabs->browsers().last()->model()->rowCount(), 0);
    QCOMPARE(inserted.count(), 0); // the factory here stores nothing itself
}

void TestTabs::editWithoutChangeSendsNothing()
{
    addBrowserTab(20, "work", {}, true, false);
    QSignalSpy inserted(tabs, &TabWidget::insertTabDataSignal);
    answerTabDialog("work", true);
    tabs->onEditTab(5);
    QCOMPARE(inserted.count(), 0);

    answerTabDialog("office", true);
    tabs->onEditTab(5);
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(tabs->bar()->tabText(5), QStringLiteral("office"));
}

void TestTabs::editOnlyTheFlagPassesTheDuplicateCheck()
{
    addBrowserTab(20, "work", {}, true, false);
    QSignalSpy inserted(tabs, &TabWidget::insertTabDataSignal);
    answerTabDialog("work", false);
    tabs->onEditTab(5);
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(inserted.first().at(2).toBool(), false);
    QCOMPARE(tabs->customTabs().first().autoDelete, false);
}

void TestTabs::orderIsSavedAndRestored()
{
    addBrowserTab(20, "work", {}, true, false);
    addBrowserTab(21, "home", {}, true, false);
    tabs->bar()->moveTab(6, 0);
    QList<uint> saved;
    QVERIFY(Setting::instance().getTabOrder(saved));
    QCOMPARE(saved, (QList<uint>{21, 0, 1, 3, 2, 4, 20}));

    // A new start: tabs come back in the default order, then the saved one.
    cleanup();
    init();
    Setting::instance().setTabOrder(saved);
    addBrowserTab(20, "work", {}, true, false);
    addBrowserTab(21, "home", {}, true, false);
    tabs->restoreTabOrder();
    QCOMPARE(order(), saved);
    QCOMPARE(tabs->bar()->currentIndex(), 0);
    QCOMPARE(tabs->currentBrowser()->browserTabId(), 21u);
}

void TestTabs::orderMissingATabIsDropped()
{
    Setting::instance().setTabOrder({4, 3, 2, 1, 0});
    addBrowserTab(20, "work", {}, true, false);
    tabs->restoreTabOrder();
    QCOMPARE(order(), (QList<uint>{0, 1, 3, 2, 4, 20}));
    QList<uint> saved;
    QVERIFY(!Setting::instance().getTabOrder(saved));
}

void TestTabs::movingATabMovesItsPage()
{
    tabs->bar()->setCurrentIndex(2);
    QCOMPARE(tabs->currentBrowser()->browserTabId(), 3u);
    tabs->bar()->moveTab(2, 4);
    QCOMPARE(tabs->bar()->currentIndex(), 4);
    QCOMPARE(tabs->currentBrowser()->browserTabId(), 3u);
    const QList<ClipboardBrowser *> pages = tabs->browsers();
    for (int i = 0; i < pages.size(); ++i)
        QCOMPARE(pages[i]->browserTabId(), order().at(i));
}

void TestTabs::leftAndRightInTheListSwitchTabs()
{
    for (int i = 0; i < 3; ++i)
        model->addLoadedItem(makeItem(uint(50 + i), ItemTypeText, QStringLiteral("t%1").arg(i), 100 + i));
    emit model->dataChanged(QModelIndex(), QModelIndex());
    tabs->bar()->setCurrentIndex(0);
    ClipboardBrowser *all = tabs->currentBrowser();
    all->setCurrentIndex(all->model()->index(1, 0));

    QTest::keyClick(all, Qt::Key_Right);
    QCOMPARE(tabs->bar()->currentIndex(), 1);
    QCOMPARE(all->currentIndex().row(), 1);
    QTest::keyClick(tabs->currentBrowser(), Qt::Key_Left);
    QCOMPARE(tabs->bar()->currentIndex(), 0);
    QCOMPARE(all->currentIndex().row(), 1);
}

QTEST_MAIN(TestTabs)
#include "tst_tabs.moc"
