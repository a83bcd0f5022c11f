#include <QApplication>
#include <QClipboard>
#include <QDrag>
#include <QMimeData>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QScopedPointer>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "frame/filterlineedit.h"
#include "list/clipboardbrowser.h"
#include "list/visiblerows.h"
#include "platform/input.h"
#include "platform/windowsystem.h"
#include "support/historyfixture.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"
#include "window/systemtray.h"
#include "window/tabbar.h"
#include "window/tabwidget.h"

using namespace HistoryFixture;

namespace {
// Real keys through the X server, so that the keyboard's state agrees with the events.
void xdotool(const QStringList &args)
{
    QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), args), 0);
}

// The window manager's frame around `window` as the X server has it: the
// outermost window under the root that holds it, border included.
QRect serverFrame(WId window)
{
    QString info;
    const auto field = [&info](const char *name) {
        const QRegularExpression pattern(QLatin1String(name) + QStringLiteral(":\\s+(\\S+)"));
        return pattern.match(info).captured(1).toInt(nullptr, 0);
    };
    for (qulonglong id = window;; id = field("Parent window id")) {
        QProcess xwininfo;
        xwininfo.start(QStringLiteral("xwininfo"), {"-tree", "-stats", "-id", QString::number(id)});
        xwininfo.waitForFinished();
        info = QString::fromLatin1(xwininfo.readAllStandardOutput());
        if (field("Parent window id") == field("Root window id"))
            break;
    }
    const int border = field("Border width");
    return QRect(field("Absolute upper-left X") - border, field("Absolute upper-left Y") - border,
                 field("Width") + 2 * border, field("Height") + 2 * border);
}
} // namespace

// The main window on a real X server, brought up from the tray: copies reach the clipboard and
// hide the window, digit keys copy the rows under them, rows drag out into other programs.
class TestWindow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();

    void copyFromTheList();
    void digitKeysCopyTheRowUnderTheDigit();
    void ctrlLetGoElsewhereEndsQuickCopy_data();
    void ctrlLetGoElsewhereEndsQuickCopy();
    void dragOutIntoAField();
    void trayMenuQuits();
    void windowFitsItsScreen();
    void sizeAndCountShown();

private:
    ClipboardBrowser *list() const { return window->tabWidget()->currentBrowser(); }
    QString text(int row) const { return list()->model()->index(row, 0).data().value<ItemData>().text(); }

    TempAppFolder folder;
    QScopedPointer<MainWindow> window;
};

void TestWindow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY2(QGuiApplication::platformName() == "xcb", "needs an X server");
    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());

    window.reset(new MainWindow);
    // Clear of the drag target's window, at (100, 100) and 400 by 120.
    window->move(700, 100);
    QList<ItemData> items;
    for (int i = 0; i < 30; ++i)
        items.append(makeItem(uint(100 + i), ItemTypeText, QStringLiteral("entry %1").arg(i), 1000 + i));
    window->onLoadDbDaba(items);
}

void TestWindow::init()
{
    if (window->pinned())
        window->onSetWndOnTop();
    // A hidden window keeps the keyboard until the X server says otherwise; shown again
    // before that, it would be the focus window and yet no widget would be told of focus.
    QTRY_VERIFY(window->isVisible() || !QGuiApplication::focusWindow());
    // A click on the tray icon brings the window up in front with the keyboard, as
    // the X server sees it too (the native window's id: Qt remakes it after a pin change).
    emit window->tray()->activated(QSystemTrayIcon::Trigger);
    QVERIFY(QTest::qWaitForWindowActive(window.data()));
    QTRY_COMPARE(platform::foregroundWindow(), platform::WindowHandle(window->windowHandle()->winId()));
    // Typing in the list types into the search field.
    QTest::keyClicks(list(), "entry");
    QCOMPARE(window->filterLineEdit()->text(), QStringLiteral("entry"));
}

void TestWindow::copyFromTheList()
{
    // The copy and all that follows it run inside the key press.
    for (const bool pinned : {false, true}) {
        if (pinned) {
            emit window->tray()->activated(QSystemTrayIcon::DoubleClick);
            QTest::keyClicks(list(), "entry");
            window->onSetWndOnTop();
        }
        const int rows = window->clipboardModel()->rowCount();
        // Only this row, whatever modifiers an earlier key left in the application's state.
        list()->selectionModel()->setCurrentIndex(list()->model()->index(3, 0),
                                                  QItemSelectionModel::ClearAndSelect);
        const QString expected = text(3);
        QSignalSpy changed(QGuiApplication::clipboard(), &QClipboard::dataChanged);
        QSignalSpy focus(qApp, &QGuiApplication::focusWindowChanged);
        // From the list, or from the search field, which has nothing selected.
        QTest::keyClick(pinned ? static_cast<QWidget *>(window->filterLineEdit()) : list(), Qt::Key_C,
                        Qt::ControlModifier);

        // The write came back as a clipboard change and was ignored: the item only rose.
        QTRY_COMPARE(changed.count(), 1);
        QCOMPARE(QGuiApplication::clipboard()->text(), expected);
        QVERIFY(QGuiApplication::clipboard()->mimeData()->hasFormat(MIME_IGNORE));
        QCOMPARE(window->clipboardModel()->rowCount(), rows);
        QCOMPARE(text(0), expected);
        QCOMPARE(window->isVisible(), pinned);
        QVERIFY(window->filterLineEdit()->text().isEmpty());
        if (!pinned) {
            // The copy tip over the window must not take the keyboard as the window goes.
            QTRY_VERIFY(!QGuiApplication::focusWindow());
            for (const QList<QVariant> &change : std::as_const(focus))
                QVERIFY(!change.first().value<QWindow *>());
        }
    }
    // With text selected in the search field, Ctrl+C copies that text alone.
    QTest::keyClicks(list(), "entry");
    window->filterLineEdit()->setSelection(0, 3);
    QTest::keyClick(window->filterLineEdit(), Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("ent"));
}

void TestWindow::digitKeysCopyTheRowUnderTheDigit()
{
    // The clear button empties the search and hides.
    auto *clear = window->filterLineEdit()->findChild<QPushButton *>();
    QTest::mouseClick(clear, Qt::LeftButton);
    QVERIFY(window->filterLineEdit()->text().isEmpty() && !clear->isVisible());
    // Left and Right in the list go to the next tab and back.
    QTest::keyClick(list(), Qt::Key_Right);
    QCOMPARE(window->tabWidget()->bar()->currentIndex(), 1);
    QTest::keyClick(list(), Qt::Key_Left);
    QCOMPARE(window->tabWidget()->bar()->currentIndex(), 0);
    list()->verticalScrollBar()->setValue(250);
    xdotool({"keydown", "ctrl"});
    QTRY_VERIFY(visibleRowMap.contains(3));

    // The third row whose middle lies inside the list, counted from the top.
    int firstShown = -1;
    for (int row = 0; row < list()->model()->rowCount() && firstShown < 0; ++row)
        if (list()->viewport()->rect().contains(list()->visualRect(list()->model()->index(row, 0)).center()))
            firstShown = row;
    QVERIFY(firstShown > 0);
    const QString expected = text(firstShown + 2);

    // Copies only while Ctrl is down for the keyboard itself.
    xdotool({"key", "3"});
    QTRY_COMPARE(QGuiApplication::clipboard()->text(), expected);
    QVERIFY(!window->isVisible());
    xdotool({"keyup", "ctrl"});
}

void TestWindow::ctrlLetGoElsewhereEndsQuickCopy_data()
{
    QTest::addColumn<QString>("menu"); // where Ctrl is let go; empty: somewhere this window never hears of
    QTest::newRow("over the list menu") << "list";
    QTest::newRow("over the tab menu") << "tab";
    QTest::newRow("unseen") << "";
}

// Ctrl let go over a menu, which has the keyboard, or anywhere else this window
// is not told of, ends the digit hints: a bare digit typed afterwards only searches.
void TestWindow::ctrlLetGoElsewhereEndsQuickCopy()
{
    QFETCH(QString, menu);
    if (window->tabWidget()->bar()->count() < 6)
        window->createTab(20, 20, QStringLiteral("work"), true, false);
    QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    if (menu.isEmpty()) {
        // A press whose release went elsewhere: the keyboard has Ctrl up.
        QTest::keyPress(window.data(), Qt::Key_Control);
    } else {
        xdotool({"keydown", "ctrl"});
        QTRY_VERIFY(window->isQuickCopyMode());
        bool shown = false;
        const QPointer<QTimer> watcher = onNextPopup([&shown](QMenu *popup) {
            shown = true;
            xdotool({"keyup", "ctrl"});
            QTRY_VERIFY(!platform::isControlKeyDown());
            popup->close();
        });
        TabBar *bar = window->tabWidget()->bar();
        const QPoint at =
            menu == "tab"
                ? bar->mapToGlobal(bar->tabRect(5).center())
                : list()->viewport()->mapToGlobal(list()->visualRect(list()->model()->index(0, 0)).center());
        xdotool({"mousemove", QString::number(at.x()), QString::number(at.y()), "click", "3"});
        QTRY_VERIFY(shown && !QApplication::activePopupWidget());
        delete watcher;
        QVERIFY(!window->isQuickCopyMode());
    }

    // Typed in the list, where a digit both searches and reaches the window.
    list()->setFocus();
    xdotool({"key", "3"});
    QTRY_VERIFY(window->filterLineEdit()->text().endsWith('3'));
    QVERIFY(!window->isQuickCopyMode());
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("before"));
    QVERIFY(window->isVisible());
}

// A real drag through the X server, driven from outside by xdotool while
// the drag runs its own loop here.
void TestWindow::dragOutIntoAField()
{
    QProcess target;
    target.start(QStringLiteral(PASTETARGET_PATH), {});
    QVERIFY(QTest::qWaitFor([&] { return target.canReadLine(); }, 10000) &&
            target.readLine().startsWith("ready"));
    const QModelIndex row = list()->model()->index(2, 0);
    const uint hash = row.data().value<ItemData>().hashValue;
    const QByteArray dragged = text(2).toUtf8();
    const QPoint from = list()->viewport()->mapToGlobal(list()->visualRect(row).center());
    const QPoint to(300, 160); // the middle of the target's field
    QStringList script{"mousemove", QString::number(from.x()), QString::number(from.y()), "mousedown", "1"};
    for (int step = 1; step <= 8; ++step) {
        const QPoint at = from + (to - from) * step / 8;
        script += {"sleep", "0.05", "mousemove", QString::number(at.x()), QString::number(at.y())};
    }
    QProcess move, release;
    move.start(QStringLiteral("xdotool"), script);

    // Let go once the drag is under way, the pointer there, and the field has taken
    // the drag (the drag's cursor says so): a drop before the field's answer is lost.
    QTimer poll;
    connect(&poll, &QTimer::timeout, this, [&] {
        const QCursor *cursor = QGuiApplication::overrideCursor();
        const bool taken = cursor && cursor->shape() == Qt::DragCopyCursor;
        if (list()->findChild<QDrag *>() && move.state() == QProcess::NotRunning && taken) {
            poll.stop();
            release.start(QStringLiteral("xdotool"), {"mouseup", "1"});
        }
    });
    poll.start(10);

    // Over once the drag object is gone. The drop counts as a copy: the row goes to
    // the top and the window hides.
    QByteArray output;
    QTRY_VERIFY2_WITH_TIMEOUT((output += target.readAll()).contains(dragged), output.constData(), 10000);
    QTRY_VERIFY(!poll.isActive() && !list()->findChild<QDrag *>());
    QCOMPARE(list()->model()->index(0, 0).data().value<ItemData>().hashValue, hash);
    QVERIFY(!window->isVisible());
    release.waitForFinished();
    target.kill();
    target.waitForFinished();
}

void TestWindow::trayMenuQuits()
{
    window->hideMainWnd();
    emit window->tray()->activated(QSystemTrayIcon::MiddleClick);
    // The right button's menu runs its own loop inside the signal; its one
    // entry must end the program's loop, without showing the window.
    QStringList entries;
    onNextPopup([&entries](QMenu *menu) {
        for (const QAction *action : menu->actions())
            entries << action->text();
        menu->actions().constFirst()->trigger();
    });
    QTimer::singleShot(0, window.data(),
                       [this] { emit window->tray()->activated(QSystemTrayIcon::Context); });
    const QObject guard; // only keeps a menu that fails to quit from hanging the test
    QTimer::singleShot(30000, &guard, [] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
    QCOMPARE(entries, QStringList{"退出"});
    QVERIFY(!window->isVisible());
}

// A size kept from a larger screen shrinks to this one, and the window's frame lies
// on it, title bar included: brought up by the tray after it was moved off the top
// left, and taken by the hotkey to the bottom right corner.
void TestWindow::windowFitsItsScreen()
{
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    const QSize wanted(680, available.height() + 50); // on 1280 by 800 as tall as the default
    Setting::instance().setMainWindowSize(wanted.width(), wanted.height());
    const QSize size = wanted.boundedTo(available.size());
    MainWindow next;
    next.move(available.topLeft() - QPoint(200, 200));
    next.showMainWnd();
    QVERIFY(QTest::qWaitForWindowExposed(&next));
    QTRY_COMPARE(serverFrame(next.winId()), QRect(available.topLeft(), size));

    // 30 pixels clear of the right and bottom edges where the screen has room for that.
    QCursor::setPos(available.bottomRight());
    next.onShortcutActiveMainWnd();
    const QPoint corner = available.bottomRight() + QPoint(1, 1) - QPoint(size.width(), size.height());
    const QPoint expected(qMax(available.left(), corner.x() - 30), qMax(available.top(), corner.y() - 30));
    QTRY_COMPARE(serverFrame(next.winId()), QRect(expected, size));

    // What the screen forced is not what the user chose: that size stays for a larger screen.
    int width = 0, height = 0;
    QVERIFY(Setting::instance().getMainWindowSize(width, height));
    QCOMPARE(QSize(width, height), wanted);
}

// The size the user gave the window comes back at the next start; the count
// under the list is that of the current tab.
void TestWindow::sizeAndCountShown()
{
    QCOMPARE(window->minimumSize(), QSize(450, 450));
    window->resize(700, 600);
    int width = 0, height = 0;
    QTRY_VERIFY(Setting::instance().getMainWindowSize(width, height) && width == 700 && height == 600);
    MainWindow next;
    QCOMPARE(next.size(), QSize(700, 600));
    const QStringList labels = labelTexts(window.data());
    QVERIFY2(labels.contains(QString::number(list()->model()->rowCount()) + "个复制项"),
             qPrintable(labels.join('|')));
}

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
