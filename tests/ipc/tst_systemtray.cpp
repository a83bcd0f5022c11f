#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QTest>
#include <QTimer>

#include "common/log.h"
#include "common/setting.h"
#include "gui/mainwindow.h"
#include "gui/systemtray.h"
#include "support/tempappfolder.h"

// What a click on the tray icon does to the main window, and the menu of
// the right button.
class TestSystemTray : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void activation_data();
    void activation();
    void quitEntryEndsTheLoop();

private:
    QString log() const;

    TempAppFolder folder;
};

namespace {
// Calls `onMenu` with the menu once it is up, then closes it unless the
// callback chose an entry. The poll ends with `poll`, that is with the test.
void whenMenuShows(QTimer &poll, std::function<void(QMenu *)> onMenu)
{
    QObject::connect(&poll, &QTimer::timeout, [&poll, onMenu] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        poll.stop();
        onMenu(menu);
        if (menu->isVisible())
            menu->close();
    });
    poll.start(10);
}
} // namespace

void TestSystemTray::initTestCase()
{
    QVERIFY(folder.isValid());
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());
}

QString TestSystemTray::log() const
{
    QFile file(logFilePath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void TestSystemTray::activation_data()
{
    QTest::addColumn<QSystemTrayIcon::ActivationReason>("reason");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<QStringList>("menu");

    QTest::newRow("click") << QSystemTrayIcon::Trigger << true << QStringList{};
    QTest::newRow("double click") << QSystemTrayIcon::DoubleClick << true << QStringList{};
    QTest::newRow("right button") << QSystemTrayIcon::Context << false << QStringList{"退出"};
    QTest::newRow("middle button") << QSystemTrayIcon::MiddleClick << false << QStringList{};
}

void TestSystemTray::activation()
{
    QFETCH(QSystemTrayIcon::ActivationReason, reason);
    QFETCH(bool, shown);
    QFETCH(QStringList, menu);

    MainWindow window;
    SystemTray tray(&window);

    QStringList entries;
    bool windowUpWithMenu = false;
    QTimer poll;
    whenMenuShows(poll, [&](QMenu *shownMenu) {
        windowUpWithMenu = window.isVisible();
        for (const QAction *action : shownMenu->actions())
            entries << action->text();
    });
    const qsizetype logBefore = log().size();
    // Emitted as the platform would, to go through the connection too.
    emit tray.activated(reason);

    QCOMPARE(window.isVisible(), shown);
    QCOMPARE(windowUpWithMenu, false);
    QCOMPARE(entries, menu);
    const QString line = QString("] active main window reason %1\n").arg(int(reason));
    QCOMPARE(log().mid(logBefore).contains(line), shown);
}

void TestSystemTray::quitEntryEndsTheLoop()
{
    MainWindow window;
    SystemTray tray(&window);
    QTimer poll;
    whenMenuShows(poll, [](QMenu *menu) { menu->actions().value(0)->trigger(); });
    QTimer::singleShot(0, &tray, [&tray] { tray.onIconActivated(QSystemTrayIcon::Context); });
    // A quit that does not arrive would leave the loop to this timer.
    QTimer::singleShot(10000, [] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
}

QTEST_MAIN(TestSystemTray)
#include "tst_systemtray.moc"
