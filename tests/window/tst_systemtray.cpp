#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QTest>
#include <QTimer>

#include "common/log.h"
#include "common/setting.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"
#include "window/systemtray.h"

// What a click on the tray icon does to the main window, and the menu of
// the right button.
class TestSystemTray : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void activation_data();
    void activation();

private:
    TempAppFolder folder;
};

void TestSystemTray::initTestCase()
{
    QVERIFY(folder.isValid());
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());
    // Each row reads the log from its end as it was before the row.
    QFile log(logFilePath());
    QVERIFY(log.open(QIODevice::WriteOnly));
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

    QFile file(logFilePath());
    QVERIFY(file.open(QIODevice::ReadOnly) && file.seek(file.size()));
    MainWindow window;
    SystemTray tray(&window);
    // Once the menu is up: note its entries and choose the first one, which
    // must end the loop that this test runs below.
    QStringList entries;
    QTimer poll;
    connect(&poll, &QTimer::timeout, &poll, [&] {
        if (auto *shownMenu = qobject_cast<QMenu *>(QApplication::activePopupWidget())) {
            poll.stop();
            for (const QAction *action : shownMenu->actions())
                entries << action->text();
            QVERIFY(!window.isVisible());
            shownMenu->actions().value(0)->trigger();
        }
    });
    poll.start(10);
    // Emitted as the platform would, so that the connection is used too.
    QTimer::singleShot(0, &tray, [&] { emit tray.activated(reason); });
    QTimer::singleShot(500, &poll, [] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), menu.isEmpty() ? 1 : 0);

    QCOMPARE(window.isVisible(), shown);
    QCOMPARE(entries, menu);
    const QString line = QString("] active main window reason %1\n").arg(int(reason));
    QCOMPARE(QString::fromUtf8(file.readAll()).contains(line), shown);
}

QTEST_MAIN(TestSystemTray)
#include "tst_systemtray.moc"
