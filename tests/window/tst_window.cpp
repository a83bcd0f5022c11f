#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QProcess>
#include <QScrollBar>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "frame/filterlineedit.h"
#include "support/historyfixture.h"
#include "item/clipboardmodel.h"
#include "list/clipboardbrowser.h"
#include "list/proxymodel.h"
#include "list/visiblerows.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"
#include "window/tabwidget.h"

using namespace HistoryFixture;

// The main window on a real X server: copies from the list reach the
// system clipboard, the window hides after them, and the digit keys copy
// what the user sees under each digit.
class TestWindow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void copyFromListMakesNoNewRow();
    void windowHidesAfterCopyUnlessPinned();
    void digitKeysCopyTheRowUnderTheDigit();
    void dragOut_data();
    void dragOut();

private:
    ClipboardBrowser *list() const { return window->tabWidget()->currentBrowser(); }
    QString clipboardText() const { return QGuiApplication::clipboard()->text(); }

    TempAppFolder folder;
    MainWindow *window = nullptr;
};

void TestWindow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY2(QGuiApplication::platformName() == "xcb", "needs an X server");
    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());

    window = new MainWindow;
    QList<ItemData> items;
    for (int i = 0; i < 30; ++i)
        items.append(makeItem(uint(100 + i), ItemTypeText, QStringLiteral("entry %1").arg(i), 1000 + i));
    window->onLoadDbDaba(items);
}

void TestWindow::cleanupTestCase()
{
    delete window;
}

void TestWindow::init()
{
    if (window->pinned())
        window->onSetWndOnTop();
    window->showMainWnd();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    window->filterLineEdit()->setText("entry");
}

void TestWindow::copyFromListMakesNoNewRow()
{
    const int rows = window->clipboardModel()->rowCount();
    list()->setCurrentIndex(list()->model()->index(3, 0));
    const QString expected = list()->currentIndex().data().value<ItemData>().text();

    QTest::keyClick(list(), Qt::Key_C, Qt::ControlModifier);

    QTRY_COMPARE(clipboardText(), expected);
    QVERIFY(QGuiApplication::clipboard()->mimeData()->hasFormat(MIME_IGNORE));
    // Our own write comes back as a clipboard change and must be ignored.
    QTest::qWait(300);
    QCOMPARE(window->clipboardModel()->rowCount(), rows);
    QCOMPARE(list()->model()->index(0, 0).data().value<ItemData>().text(), expected);
}

void TestWindow::windowHidesAfterCopyUnlessPinned()
{
    list()->setCurrentIndex(list()->model()->index(1, 0));
    QTest::keyClick(list(), Qt::Key_C, Qt::ControlModifier);
    QTRY_VERIFY(!window->isVisible());
    QVERIFY(window->filterLineEdit()->text().isEmpty());

    window->showMainWnd();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    window->filterLineEdit()->setText("entry");
    window->onSetWndOnTop();
    QVERIFY(window->pinned());
    list()->setCurrentIndex(list()->model()->index(2, 0));
    QTest::keyClick(list(), Qt::Key_C, Qt::ControlModifier);
    QTest::qWait(200);
    QVERIFY(window->isVisible());
    QVERIFY(window->filterLineEdit()->text().isEmpty());
}

void TestWindow::digitKeysCopyTheRowUnderTheDigit()
{
    window->filterLineEdit()->clear();
    list()->verticalScrollBar()->setValue(250);
    QApplication::processEvents();

    QTest::keyPress(window, Qt::Key_Control);
    QVERIFY(window->isQuickCopyMode());
    QTRY_VERIFY(visibleRowMap.contains(3));

    // The third row whose middle lies inside the list, counted from the top.
    int firstShown = -1;
    for (int row = 0; row < list()->model()->rowCount() && firstShown < 0; ++row)
        if (list()->viewport()->rect().contains(list()->visualRect(list()->model()->index(row, 0)).center()))
            firstShown = row;
    QVERIFY(firstShown > 0);
    const QString expected = list()->model()->index(firstShown + 2, 0).data().value<ItemData>().text();

    QTest::keyClick(window, Qt::Key_3, Qt::ControlModifier);
    QTRY_COMPARE(clipboardText(), expected);
    QTRY_VERIFY(!window->isVisible());
    QTest::keyRelease(window, Qt::Key_Control);
}

void TestWindow::dragOut_data()
{
    QTest::addColumn<bool>("ontoField");
    QTest::newRow("dropped into a text field") << true;
    QTest::newRow("dropped on the bare desktop") << false;
}

// A real drag through the X server, driven from outside by xdotool while
// the drag runs its own loop here.
void TestWindow::dragOut()
{
    QFETCH(bool, ontoField);
    QProcess target;
    target.start(QStringLiteral(PASTETARGET_PATH), {});
    QVERIFY(QTest::qWaitFor([&] { return target.canReadLine(); }, 10000));
    QVERIFY(target.readLine().startsWith("ready"));

    window->filterLineEdit()->clear();
    window->move(700, 100);
    QApplication::processEvents();
    const QModelIndex row = list()->model()->index(2, 0);
    const ItemData item = row.data().value<ItemData>();
    list()->scrollTo(row);
    const QPoint from = list()->viewport()->mapToGlobal(list()->visualRect(row).center());
    // The field of the target window, at (100, 100) and 400 wide; or the
    // empty desktop below everything.
    const QPoint to = ontoField ? QPoint(300, 100 + 60) : QPoint(300, 900);

    QStringList script{"mousemove", QString::number(from.x()), QString::number(from.y()), "mousedown", "1"};
    for (int step = 1; step <= 8; ++step) {
        const QPoint at = from + (to - from) * step / 8;
        script << "sleep" << "0.05" << "mousemove" << QString::number(at.x()) << QString::number(at.y());
    }
    script << "sleep" << "0.3" << "mouseup" << "1";
    QProcess drag;
    drag.start(QStringLiteral("xdotool"), script);

    if (ontoField) {
        QByteArray output;
        QTRY_VERIFY2_WITH_TIMEOUT((output += target.readAll()).contains(item.text().toUtf8()),
                                  output.constData(), 10000);
        QTRY_COMPARE(list()->model()->index(0, 0).data().value<ItemData>().hashValue, item.hashValue);
        QTRY_VERIFY(!window->isVisible());
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(drag.state(), QProcess::NotRunning, 10000);
        QTest::qWait(300);
        QCOMPARE(list()->model()->index(2, 0).data().value<ItemData>().hashValue, item.hashValue);
        QVERIFY(window->isVisible());
    }
    QTRY_COMPARE_WITH_TIMEOUT(drag.state(), QProcess::NotRunning, 10000);
    target.kill();
    target.waitForFinished();
}

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
