// What the attribution learns about a process, and what it says when it
// cannot tell, without an X server.

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "common/log.h"
#include "common/sourceapplication.h"
#include "platform/processinfo.h"
#include "platform/windowsystem.h"

class TestProcessInfo : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void liveProcesses();
    void missingProcess();
    void noWindowSystemMeansNoOwner();

private:
    QTemporaryDir dir;
};

void TestProcessInfo::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(dir.isValid());
    initLog(LogDebug, dir.path());
}

void TestProcessInfo::liveProcesses()
{
    QCOMPARE(platform::currentProcessId(), QCoreApplication::applicationPid());
    QString path;
    QVERIFY(platform::executablePath(platform::currentProcessId(), path));
    QCOMPARE(path, QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());

    // A child whose program file is deleted while it runs keeps its path.
    const QString copy = dir.filePath("short lived");
    QVERIFY(QFile::copy(QStandardPaths::findExecutable("sleep"), copy));
    QProcess child;
    child.start(copy, {"30"});
    QVERIFY(child.waitForStarted());
    QVERIFY(QFile::remove(copy));
    QCOMPARE(getParentPid(child.processId()), platform::currentProcessId());
    QVERIFY(getPathByPid(child.processId(), path));
    QCOMPARE(path, QFileInfo(dir.path()).canonicalFilePath() + "/short lived");
    child.kill();
    child.waitForFinished();
}

void TestProcessInfo::missingProcess()
{
    // Above any pid the kernel hands out.
    const platform::ProcessId gone = 0x7FFFFFF0;
    QString path = "untouched";
    platform::PathError error = platform::PathError::None;
    QVERIFY(!platform::executablePath(gone, path, &error));
    QCOMPARE(error, platform::PathError::OpenFailed);
    QCOMPARE(path, "untouched");
    QCOMPARE(getParentPid(gone), 0);
    QCOMPARE(getParentPid(0), 0);
}

void TestProcessInfo::noWindowSystemMeansNoOwner()
{
    QCOMPARE(platform::clipboardOwnerWindow(), 0u);
    QCOMPARE(platform::foregroundWindow(), 0u);
    QCOMPARE(platform::windowProcessId(0), 0);
    QPixmap pixmap;
    QString exePath;
    QVERIFY(!getFrontProcessIcon(pixmap, exePath));
    QVERIFY(exePath.isEmpty());
    QFile log(logFilePath());
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QByteArray text = log.readAll();
    QVERIFY(text.contains("Failed to get clipbaardowner window."));
    QVERIFY(text.contains("Failed to get GetForegroundWindow window."));
}

QTEST_MAIN(TestProcessInfo)
#include "tst_processinfo.moc"
