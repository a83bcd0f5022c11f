#include <csignal>

#include <QFile>
#include <QLibraryInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>
#include <QTranslator>

#include "support/tempappfolder.h"

// The real program, copied into a throw-away folder where it keeps everything, ended as a session would.
class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void startHoldsLockAndStopsOnSignal_data();
    void startHoldsLockAndStopsOnSignal();
    void secondCopyTellsTheFirst();

private:
    QString log() const;
    QString path(const QString &name) const { return folder.filePath(name); }
    bool startFirst(const QStringList &arguments = {});
    bool stopFirst(int signal);

    TempAppFolder folder;
    QProcess first;
};

void TestStartup::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    QVERIFY(QFile::copy(VORLIK_BINARY, path("vorlik")));
    QVERIFY(QFile::setPermissions(path("vorlik"), QFile::permissions(VORLIK_BINARY)));
    // A runtime folder of our own for the single-instance socket: no other copy is reached.
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(folder.path()));
    first.setProcessChannelMode(QProcess::ForwardedChannels);
}

QString TestStartup::log() const
{
    QFile file(path("vorlik.log"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool TestStartup::startFirst(const QStringList &arguments)
{
    first.kill(); // what a failed test left running
    first.waitForFinished();
    first.start(path("vorlik"), arguments);
    // Ready once it logs this; a copy that ended is not waited for.
    const auto ready = [&] {
        return log().contains(QString("] start exec app pid %1\n").arg(first.processId()));
    };
    if (first.waitForStarted() &&
        QTest::qWaitFor([&] { return ready() || first.state() == QProcess::NotRunning; }, 60000) && ready())
        return true;
    qWarning("%s", qPrintable(log().right(3000)));
    return false;
}

bool TestStartup::stopFirst(int signal)
{
    // processId() is 0 once the process is gone, and kill(0) would hit our own process group.
    return first.processId() > 0 && ::kill(pid_t(first.processId()), signal) == 0 &&
           first.waitForFinished(60000) && first.exitStatus() == QProcess::NormalExit &&
           first.exitCode() == 0;
}

void TestStartup::startHoldsLockAndStopsOnSignal_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("autoStart");
    QTest::addColumn<bool>("schTask");
    QTest::addColumn<int>("signal");
    QTest::addColumn<bool>("closeWindow");
    // The rows run in order: each run must overwrite the setting the one before left.
    QTest::newRow("login start") << QStringList{"--AutoStart"} << true << false << SIGTERM << false;
    // Without "--AutoStart" the window shows at start.
    QTest::newRow("by hand, window closed") << QStringList{} << false << false << SIGINT << true;
    QTest::newRow("options anywhere")
        << QStringList{"--unknown", "--schtask", "x", "--AutoStart"} << true << true << SIGTERM << false;
    QTest::newRow("near misses") << QStringList{"--autostart", "--AutoStart=1", "-schtask"} << false << false
                                 << SIGHUP << false;
}

void TestStartup::startHoldsLockAndStopsOnSignal()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, autoStart);
    QFETCH(bool, schTask);
    QFETCH(int, signal);
    QFETCH(bool, closeWindow);
    QVERIFY(startFirst(arguments));
    const qint64 pid = first.processId();
    const QString flags = "\\[%1\\] isautostart %2 isschtask %3 parent isAutoStart [01] isAdmin [01]\n";
    QVERIFY2(log().contains(QRegularExpression(flags.arg(pid).arg(int(autoStart)).arg(int(schTask)))),
             qPrintable(log()));
    // Qt's own texts are in the program's language too, as Qt's catalogue has them.
    QTranslator qtTexts;
    QVERIFY(qtTexts.load("qtbase_zh_CN", QLibraryInfo::path(QLibraryInfo::TranslationsPath)));
    const QString pressShortcut = qtTexts.translate("QKeySequenceEdit", "Press shortcut");
    QVERIFY(!pressShortcut.isEmpty());
    QVERIFY2(log().contains(QString("[%1] load succ 1 after translate %2\n").arg(pid).arg(pressShortcut)),
             qPrintable(log()));
    QTRY_VERIFY(QFile::exists(path("vorlik.db")));
    if (closeWindow) {
        // Alt+F4, the window manager's close, as a user does it: the program stays.
        const auto visibleWindows = [pid] {
            QProcess search;
            search.start("xdotool", {"search", "--onlyvisible", "--pid", QString::number(pid)});
            search.waitForFinished(10000);
            return QString(search.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        };
        QTRY_VERIFY_WITH_TIMEOUT(!visibleWindows().isEmpty(), 30000);
        QProcess::execute("xdotool", {"windowactivate", "--sync", visibleWindows().first(), "key",
                                      "--clearmodifiers", "alt+F4"});
        QTRY_VERIFY_WITH_TIMEOUT(visibleWindows().isEmpty(), 30000);
    }

    QVERIFY2(stopFirst(signal), qPrintable(log().right(3000)));
    QVERIFY(log().contains(QString("[%1] quit on signal %2\n").arg(pid).arg(signal)));
    QVERIFY(log().contains(QString("[%1] exitCode 0 wasColsed 0 started 1\n").arg(pid)));
    // Read as text: the file also holds values of types this test does not know.
    QFile settings(path("config/vorlik/vorlik.ini"));
    QVERIFY(settings.open(QIODevice::ReadOnly));
    QCOMPARE(QString(settings.readAll()).contains(QRegularExpression("(^|\n)SettingAutoStart=true\r?\n")),
             autoStart);
    // The lock went with the process, and so did its file.
    QVERIFY(!QFile::exists(path("config/vorlik.lock")));
}

void TestStartup::secondCopyTellsTheFirst()
{
    // A killed copy leaves its lock and its socket behind: the next one takes both over.
    QVERIFY(startFirst({"--AutoStart"}));
    first.kill();
    QVERIFY(first.waitForFinished(60000));
    QVERIFY(QFile::exists(path("config/vorlik.lock")) && QFile::exists(path("vorlikIpcServer")));
    QVERIFY(startFirst({"--AutoStart"}));

    QProcess second;
    second.start(path("vorlik"), {"--AutoStart"});
    QVERIFY(second.waitForStarted());
    const qint64 secondPid = second.processId();
    QVERIFY(second.waitForFinished(60000));
    QVERIFY(second.exitStatus() == QProcess::NormalExit && second.exitCode() == 0);
    // The first copy shows why nothing new opened.
    QTRY_VERIFY2(log().contains(QString("[%1] notify 重复启动应用\n").arg(first.processId())),
                 qPrintable(log().right(3000)));
    QVERIFY(log().contains(QString("[%1] fail to lock file\n\n").arg(secondPid)));
    QVERIFY(!log().contains(QString("[%1] start exec app pid").arg(secondPid)));
    // The first copy is untouched and still ends normally.
    QVERIFY(stopFirst(SIGTERM));
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
