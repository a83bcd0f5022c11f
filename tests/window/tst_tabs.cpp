#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPointer>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "common/log.h"
#include "common/setting.h"
#include "frame/confirmdialog.h"
#include "list/clipboardbrowser.h"
#include "support/historyfixture.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"
#include "window/tabbar.h"
#include "window/tabwidget.h"

using namespace HistoryFixture;

// User tabs in the main window: names, ids, the tab menu, order and deletion.
class TestTabs : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();

    void createdTabsReuseTheLowestFreeId();
    void countAfterDeletingATab_data();
    void countAfterDeletingATab();
    void editFromTheTabMenu_data();
    void editFromTheTabMenu();
    void savedOrderAtStart_data();
    void savedOrderAtStart();

private:
    // Answers the next tab dialog as a user would: types `name`, sets the box, presses Return.
    static QTimer *answerTabDialog(const QString &name, bool autoDelete);
    // Right-clicks tab `index` and chooses `entry` from its menu; returns the menu's entries.
    QStringList chooseFromTabMenu(int index, const QString &entry);
    QList<uint> order() const;

    TempAppFolder folder;
    QScopedPointer<MainWindow> window;
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
    window.reset(new MainWindow);
    tabs = window->tabWidget();
    window->show();
}

QTimer *TestTabs::answerTabDialog(const QString &name, bool autoDelete)
{
    return onNextModal([name, autoDelete](QWidget *dialog) {
        auto *edit = dialog->findChild<QLineEdit *>();
        edit->clear();
        QTest::keyClicks(edit, name);
        dialog->findChild<QCheckBox *>()->setChecked(autoDelete);
        QTest::keyClick(edit, Qt::Key_Return);
    });
}

QStringList TestTabs::chooseFromTabMenu(int index, const QString &entry)
{
    QStringList entries;
    QPointer<QTimer> watcher = onNextPopup([&entries, entry](QMenu *menu) {
        for (const QAction *action : menu->actions())
            entries << action->text();
        menu->close();
        actionNamed(menu, entry)->trigger();
    });
    QTest::mouseClick(tabs->bar(), Qt::RightButton, {}, tabs->bar()->tabRect(index).center());
    // The menu runs its own loop inside the click; a built-in tab shows none.
    delete watcher;
    return entries;
}

QList<uint> TestTabs::order() const
{
    QList<uint> ids;
    for (int i = 0; i < tabs->bar()->count(); ++i)
        ids.append(tabs->bar()->tabData(i).value<TabData>().tabId);
    return ids;
}

void TestTabs::createdTabsReuseTheLowestFreeId()
{
    QSignalSpy deleted(tabs, &TabWidget::deleteTabSignal);
    answerTabDialog("work", false);
    tabs->onCreateNewTab();
    answerTabDialog("home", true);
    tabs->onCreateNewTab();
    // A moved tab takes its page along, and the order is saved at once.
    tabs->bar()->setCurrentIndex(2);
    tabs->bar()->moveTab(2, 4);
    QCOMPARE(tabs->currentBrowser()->browserTabId(), 3u);
    QList<uint> saved;
    QVERIFY(Setting::instance().getTabOrder(saved));
    QCOMPARE(saved, (QList<uint>{0, 1, 2, 4, 3, 20, 21}));
    TabAutoDeleteMap flags;
    tabs->fillTabAutoDeleteMap(flags);
    QCOMPARE(flags, (TabAutoDeleteMap{{20, false}, {21, true}}));

    ItemData item = makeItem(7, ItemTypeText, "kept", 100);
    item.addCustomId(20);
    window->onLoadDbDaba({item});
    QCOMPARE(tabs->browsers().at(5)->model()->rowCount(), 1);

    // Deleting takes the tab's id off every item, and keeps the items.
    onNextModal([](QWidget *dialog) { clickButton(dialog, QStringLiteral("确定")); });
    QCOMPARE(chooseFromTabMenu(5, QStringLiteral("删除")), (QStringList{"编辑", "删除"}));
    QCOMPARE(deleted.count(), 1);
    QCOMPARE(deleted.first().first().toUInt(), 20u);
    QVERIFY(!window->clipboardModel()->items().first().hasCustomId(20));
    QCOMPARE(window->clipboardModel()->rowCount(), 1);

    answerTabDialog("again", true);
    tabs->onCreateNewTab();
    QCOMPARE(order(), (QList<uint>{0, 1, 2, 4, 3, 21, 20}));
    QCOMPARE(tabs->browsers().last()->model()->rowCount(), 0);
}

void TestTabs::countAfterDeletingATab_data()
{
    QTest::addColumn<int>("current");
    QTest::newRow("the current tab") << 5;
    QTest::newRow("left of the current tab") << 6;
}

// The count under the list reads the tab shown after a deletion, not the deleted one.
void TestTabs::countAfterDeletingATab()
{
    QFETCH(int, current);
    window->createTab(20, 20, "empty", true, false);
    window->createTab(20, 21, "one", true, false);
    ItemData item = makeItem(7, ItemTypeText, "kept", 100);
    item.addCustomId(21);
    window->onLoadDbDaba({item});
    tabs->bar()->setCurrentIndex(current);
    QVERIFY(labelTexts(window.data()).contains(QString::number(current - 5) + "个复制项"));

    onNextModal([](QWidget *dialog) { clickButton(dialog, QStringLiteral("确定")); });
    tabs->onDeleteTab(5);
    QCOMPARE(tabs->currentBrowser()->browserTabId(), 21u);
    const QStringList labels = labelTexts(window.data());
    QVERIFY2(labels.contains("1个复制项"), qPrintable(labels.join('|')));
}

void TestTabs::editFromTheTabMenu_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("autoDelete");
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("stored");
    QTest::newRow("built-in tab has no menu") << 0 << "office" << false << "" << false;
    QTest::newRow("no change stores nothing") << 5 << "work" << true << "" << false;
    QTest::newRow("new name") << 5 << "office" << true << "" << true;
    // The tab itself is left out of the duplicate check.
    QTest::newRow("only the flag") << 5 << "work" << false << "" << true;
    QTest::newRow("empty refused quietly") << 5 << "" << true << "" << false;
    QTest::newRow("50 characters") << 5 << QString(50, 'x') << true << "" << true;
    QTest::newRow("51 characters") << 5 << QString(51, 'x') << true << "标签页名字超过50个字符" << false;
    QTest::newRow("built-in name") << 5 << "all" << true << "重复的标签页名字" << false;
}

void TestTabs::editFromTheTabMenu()
{
    QFETCH(int, index);
    QFETCH(QString, name);
    QFETCH(bool, autoDelete);
    QFETCH(QString, message);
    QFETCH(bool, stored);

    window->createTab(20, 20, "work", true, false);
    const QString before = tabs->bar()->tabText(index);
    QSignalSpy inserted(tabs, &TabWidget::insertTabDataSignal);
    QStringList shown;
    const QPointer<QTimer> watchers[] = {
        answerTabDialog(name, autoDelete),
        whenShown<QWidget>([] { return qobject_cast<ConfirmDialog *>(QApplication::activeModalWidget()); },
                           [&shown](QWidget *dialog) {
                               shown = labelTexts(dialog);
                               clickButton(dialog, QStringLiteral("确定"));
                           })};
    QCOMPARE(chooseFromTabMenu(index, QStringLiteral("编辑")).isEmpty(), index < 5);
    for (const QPointer<QTimer> &watcher : watchers)
        delete watcher;
    QVERIFY2(message.isEmpty() ? shown.isEmpty() : shown.contains(message), qPrintable(shown.join('|')));
    QCOMPARE(inserted.count(), int(stored));
    QCOMPARE(tabs->bar()->tabText(index), stored ? name : before);
    QCOMPARE(tabs->customTabs().first().autoDelete, stored ? autoDelete : true);
}

void TestTabs::savedOrderAtStart_data()
{
    QTest::addColumn<QList<uint>>("saved"); // empty: none
    QTest::addColumn<QList<uint>>("expected");
    QTest::newRow("saved") << QList<uint>{21, 0, 1, 3, 2, 4, 20} << QList<uint>{21, 0, 1, 3, 2, 4, 20};
    QTest::newRow("first start") << QList<uint>{} << QList<uint>{0, 1, 3, 2, 4, 20, 21};
    // Dropped as a whole, and nothing saved until the user moves or makes a tab.
    QTest::newRow("a user tab missing")
        << QList<uint>{4, 3, 2, 1, 0, 20} << QList<uint>{0, 1, 3, 2, 4, 20, 21};
}

void TestTabs::savedOrderAtStart()
{
    QFETCH(QList<uint>, saved);
    QFETCH(QList<uint>, expected);
    if (!saved.isEmpty())
        Setting::instance().setTabOrder(saved);
    // The database's tabs come after the built-in ones.
    window->onLoadTabData({{20, QStringLiteral("work")}, {21, QStringLiteral("home")}});
    QCOMPARE(order(), expected);
    QList<uint> kept;
    QCOMPARE(Setting::instance().getTabOrder(kept), saved == expected);
}

QTEST_MAIN(TestTabs)
#include "tst_tabs.moc"
