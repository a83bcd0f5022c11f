#include <csignal>

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

#include "support/tempappfolder.h"

// Runs the real program, copied into a throw-away folder so that everything
// it keeps lands there, and ends it as a desktop session would.
class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void startHoldsLockAndStopsOnSignal_data();
    void startHoldsLockAndStopsOnSignal();
    void secondCopyEndsAtOnce();
    void lockOfKilledCopyIsTakenOver();
    void closingTheWindowKeepsRunning();

private:
    QString log() const;
    QString path(const QString &name) const { return folder.filePath(name); }
    bool startFirst(const QStringList &arguments = {});
    bool stopFirst(int signal);
    bool settingAutoStart() const;

    TempAppFolder folder;
    QString program;
    QProcess first;
};

void TestStartup::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    program = path("vorlik");
    QVERIFY(QFile::copy(VORLIK_BINARY, program));
    QVERIFY(QFile::setPermissions(program, QFile::permissions(VORLIK_BINARY)));
    first.setProcessChannelMode(QProcess::ForwardedChannels);
}

void TestStartup::cleanup()
{
    if (first.state() != QProcess::NotRunning) {
        first.kill();
        first.waitForFinished();
    }
}

QString TestStartup::log() const
{
    QFile file(path("vorlik.log"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool TestStartup::startFirst(const QStringList &arguments)
{
    first.start(program, arguments);
    if (!first.waitForStarted())
        return false;
    const QString ready = QString("] start exec app pid %1\n").arg(first.processId());
    [&] {
        QTRY_VERIFY_WITH_TIMEOUT(log().contains(ready) || first.state() == QProcess::NotRunning, 60000);
    }();
    if (!log().contains(ready))
        qWarning("%s", qPrintable(log().right(3000)));
    return log().contains(ready);
}

bool TestStartup::stopFirst(int signal)
{
    // processId() is 0 once the process is gone, and kill(0) would hit our
    // own process group.
    const qint64 pid = first.processId();
    if (first.state() != QProcess::Running || pid <= 0)
        return false;
    ::kill(static_cast<pid_t>(pid), signal);
    return first.waitForFinished(60000) && first.exitStatus() == QProcess::NormalExit &&
           first.exitCode() == 0;
}

bool TestStartup::settingAutoStart() const
{
    // Read as text: the file also holds values of types this test does not know.
    QFile file(path("config/vorlik/vorlik.ini"));
    return file.open(QIODevice::ReadOnly) && QRegularExpression("(^|\n)SettingAutoStart=true\r?\n")
                                                 .match(QString::fromUtf8(file.readAll()))
                                                 .hasMatch();
}

void TestStartup::startHoldsLockAndStopsOnSignal_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("autoStart");
    QTest::addColumn<bool>("schTask");
    QTest::addColumn<int>("signal");

    // The rows run in order: each later run must overwrite what the one
    // before left in the setting.
    QTest::newRow("login start") << QStringList{"--AutoStart"} << true << false << SIGTERM;
    QTest::newRow("by hand, interrupted") << QStringList{} << false << false << SIGINT;
    QTest::newRow("options anywhere")
        << QStringList{"--unknown", "--schtask", "x", "--AutoStart"} << true << true << SIGTERM;
    QTest::newRow("near misses") << QStringList{"--autostart", "--AutoStart=1", "-schtask"} << false << false
                                 << SIGTERM;
}

void TestStartup::startHoldsLockAndStopsOnSignal()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, autoStart);
    QFETCH(bool, schTask);
    QFETCH(int, signal);

    QVERIFY(startFirst(arguments));
    const qint64 pid = first.processId();
    const QString runLog = log().section(QString("] start exec app pid %1").arg(pid), 0, 0);
    QVERIFY(runLog.contains(QString("] data folder %1\n").arg(folder.path())));
    const QString flags = "\\[%1\\] isautostart %2 isschtask %3 parent isAutoStart [01] isAdmin [01]\n";
    QVERIFY2(
        QRegularExpression(flags.arg(pid).arg(int(autoStart)).arg(int(schTask))).match(runLog).hasMatch(),
        qPrintable(runLog));

    QTRY_VERIFY(QFile::exists(path("config/vorlik/vorlik.ini")));
    QTRY_VERIFY(QFile::exists(path("vorlik.db")));

    // Another process sees the lock as held by a live owner.
    {
        QLockFile lock(path("config/vorlik.lock"));
        QVERIFY(!lock.tryLock(0));
        QCOMPARE(lock.error(), QLockFile::LockFailedError);
        qint64 owner = 0;
        QVERIFY(lock.getLockInfo(&owner, nullptr, nullptr));
        QCOMPARE(owner, pid);
    }

    QVERIFY2(stopFirst(signal), qPrintable(log().right(3000)));
    QVERIFY(log().contains(QString("[%1] quit on signal %2\n").arg(pid).arg(signal)));
    QVERIFY(log().contains(QString("[%1] exitCode 0 wasColsed 0 started 1\n").arg(pid)));
    QCOMPARE(settingAutoStart(), autoStart);
    // The lock went with the process, and so did its file.
    QVERIFY(!QFile::exists(path("config/vorlik.lock")));
}

void TestStartup::secondCopyEndsAtOnce()
{
    QVERIFY(startFirst({"--AutoStart"}));

    QProcess second;
    second.setProcessChannelMode(QProcess::ForwardedChannels);
    second.start(program, {"--AutoStart"});
    QVERIFY(second.waitForStarted());
    const qint64 secondPid = second.processId();
    QVERIFY(second.waitForFinished(60000));
    QVERIFY(second.exitStatus() == QProcess::NormalExit && second.exitCode() == 0);
    QVERIFY2(log().contains(QString("[%1] fail to lock file\n\n").arg(secondPid)),
             qPrintable(log().right(3000)));
    QVERIFY(!log().contains(QString("[%1] start exec app pid").arg(secondPid)));

    // The first copy is untouched and still ends normally.
    QCOMPARE(first.state(), QProcess::Running);
    QVERIFY(stopFirst(SIGTERM));
    QVERIFY(settingAutoStart());
}

void TestStartup::lockOfKilledCopyIsTakenOver()
{
    QVERIFY(startFirst());
    first.kill();
    QVERIFY(first.waitForFinished(60000));
    QVERIFY(QFile::exists(path("config/vorlik.lock")));

    // The lock file left behind names a dead process: the next start takes it.
    QVERIFY(startFirst());
    QVERIFY(stopFirst(SIGTERM));
}

namespace {
// The visible top-level windows of a process, as the window manager sees them.
QStringList visibleWindows(qint64 pid)
{
    QProcess search;
    search.start("xdotool", {"search", "--onlyvisible", "--pid", QString::number(pid)});
    if (!search.waitForFinished(10000))
        return {};
    return QString::fromLatin1(search.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
}
} // namespace

void TestStartup::closingTheWindowKeepsRunning()
{
    if (QStandardPaths::findExecutable("xdotool").isEmpty())
        QSKIP("xdotool is not installed");
    // Without "--AutoStart" the window shows at start.
    QVERIFY(startFirst());
    const qint64 pid = first.processId();
    QTRY_VERIFY_WITH_TIMEOUT(!visibleWindows(pid).isEmpty(), 30000);

    // Alt+F4 is the window manager's close, as a user would do it.
    QProcess::execute("xdotool", {"windowactivate", "--sync", visibleWindows(pid).first(), "key",
                                  "--clearmodifiers", "alt+F4"});
    QTRY_VERIFY_WITH_TIMEOUT(visibleWindows(pid).isEmpty(), 30000);

    // Still alive to hear the request to end.
    QVERIFY(stopFirst(SIGTERM));
    QVERIFY(log().contains(QString("[%1] quit on signal %2\n").arg(pid).arg(SIGTERM)));
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
