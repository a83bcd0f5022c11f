#include <csignal>
#include <cstring>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include "app/clipboardmanager.h"
#include "app/ipcserver.h"
#include "app/storagewiring.h"
#include "common/log.h"
#include "item/clipboardmodel.h"
#include "storage/sqlmanager.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"

static QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

class TestApp : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void showAtStart_data();
    void showAtStart();
    void faultEndsProgram_data();
    void faultEndsProgram();
    void serverReadsCommands();
    void storageFeedsWindowAndKeepsModelWrites();

private:
    TempAppFolder folder;
};

void TestApp::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    // A runtime folder of our own: no running copy of the program is reached.
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(folder.path()));
    QCOMPARE(IPCServer::serverName(), folder.filePath("vorlikIpcServer"));
    initLog(LogDebug, folder.path());
}

void TestApp::showAtStart_data()
{
    QTest::addColumn<bool>("elevated");
    QTest::addColumn<bool>("schTask");
    QTest::addColumn<bool>("autoStart");
    QTest::addColumn<bool>("parentAutoStart");
    QTest::addColumn<bool>("shown");
    // Not elevated: only the login start is silent, whatever else is set.
    QTest::newRow("by hand") << false << false << false << true << true;
    QTest::newRow("login") << false << true << true << false << false;
    // Elevated by hand: always shown, even with "--AutoStart".
    QTest::newRow("elevated by hand") << true << false << true << true << true;
    // Through the scheduled task, the run that handed over decides.
    QTest::newRow("task after login") << true << true << false << true << false;
    QTest::newRow("task after start by hand") << true << true << true << false << true;
}

void TestApp::showAtStart()
{
    QFETCH(bool, elevated);
    QFETCH(bool, schTask);
    QFETCH(bool, autoStart);
    QFETCH(bool, parentAutoStart);
    QFETCH(bool, shown);
    QCOMPARE(ClipBoardManager::shouldShowAtStart(elevated, schTask, autoStart, parentAutoStart), shown);
}

void TestApp::faultEndsProgram_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QProcess::ExitStatus>("status");
    QTest::addColumn<int>("code");          // the exit code, or the signal of a crash
    QTest::addColumn<QStringList>("lines"); // patterns the log must hold
    QTest::addColumn<QString>("absent");    // from the log
    QTest::addColumn<bool>("dumped");       // or only logged, for want of a folder
    const auto normal = QProcess::NormalExit, crash = QProcess::CrashExit;
    QTest::newRow("std::exception") << "throw" << normal << 1
                                    << QStringList{"\\] Exception: broken slot\n\n", "loop ended with 1"}
                                    << "QtFatal" << false;
    QTest::newRow("other type") << "unknown" << normal << 1
                                << QStringList{"\\] Exception: \n\n", "loop ended with 1"} << "QtFatal"
                                << false;
    // qFatal cannot unwind to the loop, but still ends as the net does.
    QTest::newRow("qFatal") << "fatal" << normal << 1
                            << QStringList{"QtFatal: fatal in slot 7", "\\] Exception: fatal in slot 7\n\n"}
                            << "loop ended" << false;
    QTest::newRow("clean") << "none" << normal << 5 << QStringList{"loop ended with 5"} << "Exception"
                           << false;
    // The process still dies of its signal, as if no handler were there.
    QTest::newRow("null pointer") << "segv" << crash << SIGSEGV << QStringList() << "dumpFile" << true;
    QTest::newRow("abort") << "abort" << crash << SIGABRT << QStringList() << "dumpFile" << true;
    // Without a dump folder only the log line is left, laid out like every other error line.
    QTest::newRow("dump folder missing")
        << "segv" << crash << SIGSEGV
        << QStringList{"(^|\n)error   \\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]  \\[\\d+\\] "
                       "dumpFile not vaild 2\n\n"}
        << "Exception" << false;
}

void TestApp::faultEndsProgram()
{
    QFETCH(QString, mode);
    QFETCH(QProcess::ExitStatus, status);
    QFETCH(int, code);
    QFETCH(QStringList, lines);
    QFETCH(QString, absent);
    QFETCH(bool, dumped);
    TempAppFolder logFolder;
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    QProcess helper;
    helper.start(FAULTHELPER_PATH, {logFolder.path(), mode, logFolder.filePath(dumped ? "." : "gone")});
    QVERIFY(helper.waitForFinished(60000));
    const qint64 after = QDateTime::currentSecsSinceEpoch();
    QCOMPARE(std::pair(helper.exitStatus(), helper.exitCode()), std::pair(status, code));
    const QString log = readFile(logFolder.filePath("vorlik.log"));
    for (const QString &line : lines)
        QVERIFY2(log.contains(QRegularExpression(line)), qPrintable(log));
    QVERIFY2(!log.contains(absent), qPrintable(log));

    const QStringList dumps = QDir(logFolder.path()).entryList({"*.dmp"}, QDir::Files);
    QCOMPARE(dumps.size(), dumped ? 1 : 0);
    if (!dumped)
        return;
    // The name carries the second of the crash.
    const QRegularExpressionMatch match = QRegularExpression("^(.{19})-vorlik\\.dmp$").match(dumps.first());
    const qint64 stamp = QDateTime::fromString(match.captured(1), "yyyy-MM-dd-hh-mm-ss").toSecsSinceEpoch();
    QVERIFY2(match.hasMatch() && stamp >= before && stamp <= after, qPrintable(dumps.first()));
    const QString dump = readFile(logFolder.filePath(dumps.first()));
    QVERIFY2(dump.startsWith(QString("signal %1 (SIG%2)\n").arg(code).arg(sigabbrev_np(code))) &&
                 dump.contains("\naddress 0x"),
             qPrintable(dump));
    // At least the handler's own frame and main's caller are listed.
    QVERIFY2(dump.section("backtrace:\n", 1).count('\n') >= 3, qPrintable(dump));
}

void TestApp::serverReadsCommands()
{
    const auto log = [] { return readFile(logFilePath()); };
    const QString name = IPCServer::serverName();
    IPCServer server;
    QVERIFY(server.isListening());
    // A later copy's server must not take the name from the one that listens.
    IPCServer second;
    QVERIFY(!second.isListening() && log().contains(QString("server listen fail %1 is in use\n").arg(name)));
    {
        QLocalSocket client;
        client.connectToServer(name);
        QVERIFY(client.waitForConnected(5000));
        // The bracket alone is kept until the rest comes in a later read.
        client.write("(");
        QTRY_COMPARE(server.bufferedConnectionCount(), 1);
        // Back to back, and an unfinished one that waits for more.
        client.write("2)(one)()(1)(4");
        // No main window exists here, so command 1 ends at the window lookup.
        QTRY_VERIFY(log().contains("] no window to tell of command 1\n"));
        for (const char *line :
             {"] unknown command 2\n", "] command convert num fail one\n", "] command convert num fail \n"})
            QVERIFY2(log().contains(line), line);
        QCOMPARE(server.bufferedConnectionCount(), 1);
        QCOMPARE(client.state(), QLocalSocket::ConnectedState);
    }
    // The partial command goes with the client, and so does its socket.
    QTRY_COMPARE(server.bufferedConnectionCount(), 0);
    QTRY_VERIFY(server.findChildren<QLocalSocket *>().isEmpty());

    // Anything before the bracket ends the connection unread.
    QLocalSocket client;
    QSignalSpy disconnected(&client, &QLocalSocket::disconnected);
    client.connectToServer(name);
    QVERIFY(client.waitForConnected(5000));
    client.write("x(3)");
    QTRY_COMPARE(disconnected.count(), 1);
    QVERIFY(!log().contains("] unknown command 3\n"));

    // Whole commands may come in any number; an unfinished one may not grow without end.
    QLocalSocket talker;
    QSignalSpy dropped(&talker, &QLocalSocket::disconnected);
    talker.connectToServer(name);
    QVERIFY(talker.waitForConnected(5000));
    talker.write(QByteArray("(5)").repeated(30000) + "(" + QByteArray(70 * 1024, '7'));
    QTRY_COMPARE(dropped.count(), 1);
    QCOMPARE(log().count("] unknown command 5\n"), 30000);
    QVERIFY(log().contains("] unfinished command longer than 65536 bytes, connection dropped\n"));
    QTRY_COMPARE(server.bufferedConnectionCount(), 0);
}

void TestApp::storageFeedsWindowAndKeepsModelWrites()
{
    TempAppFolder dataFolder;
    initLog(LogDebug, dataFolder.path());
    QPixmap icon(6, 6);
    icon.fill(Qt::red);
    uint iconHash = 0;
    for (const bool firstRun : {true, false}) {
        // A window and the database joined as at start.
        MainWindow window;
        ClipboardModel *model = window.clipboardModel();
        SqlManager manager(dataFolder.filePath("vorlik.db"));
        connectStorage(&manager, &window);
        QVERIFY(manager.initThread());
        QVERIFY(manager.initThread()); // a second call adds no second set of connections
        if (firstRun) {
            // The model's own announcements reach the database through the front.
            model->addIcon("/bin/editor", icon, iconHash);
            ItemData item;
            for (item.hashValue = 1; item.hashValue <= 2; ++item.hashValue)
                model->addItem(item);
            model->removeItem(1);
            // Writes are never answered; the worker logs the end of the last one.
            QTRY_VERIFY(readFile(logFilePath()).contains("] delete item cost "));
        } else {
            // The next start shows what the last one kept.
            QTRY_COMPARE(model->rowCount(), 1);
            QCOMPARE(model->items().at(0).hashValue, 2u);
            QCOMPARE(model->getIcon(iconHash).size(), QSize(6, 6));
        }
    }
    QCOMPARE(readFile(logFilePath()).count("fail to"), 0);
}

QTEST_MAIN(TestApp)
#include "tst_app.moc"
