#include <csignal>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

#include "app/clipboardmanager.h"
#include "support/tempappfolder.h"

namespace {
QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Runs a helper to its end; a hang counts as a normal exit with code -1.
std::pair<QProcess::ExitStatus, int> runHelper(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return {QProcess::NormalExit, -1};
    }
    return {process.exitStatus(), process.exitCode()};
}
} // namespace

class TestApp : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void showAtStart_data();
    void showAtStart();
    void exceptionNet_data();
    void exceptionNet();
    void crashWritesDump_data();
    void crashWritesDump();
};

void TestApp::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestApp::showAtStart_data()
{
    QTest::addColumn<bool>("elevated");
    QTest::addColumn<bool>("schTask");
    QTest::addColumn<bool>("autoStart");
    QTest::addColumn<bool>("parentAutoStart");
    QTest::addColumn<bool>("shown");

    for (int bits = 0; bits < 8; ++bits) {
        const bool schTask = bits & 1, autoStart = bits & 2, parent = bits & 4;
        // Not elevated: only the login start is silent, whatever else is set.
        QTest::addRow("plain schtask=%d auto=%d parent=%d", schTask, autoStart, parent)
            << false << schTask << autoStart << parent << !autoStart;
        // Elevated by hand: always shown, even with "--AutoStart". Through the
        // scheduled task: the handing-over run decides.
        QTest::addRow("elevated schtask=%d auto=%d parent=%d", schTask, autoStart, parent)
            << true << schTask << autoStart << parent << (!schTask || !parent);
    }
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

void TestApp::exceptionNet_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("absent");

    QTest::newRow("std::exception") << "throw" << 1
                                    << QStringList{"] Exception: broken slot\n\n", "loop ended with 1"}
                                    << "QtFatal";
    QTest::newRow("other type") << "unknown" << 1 << QStringList{"] Exception: \n\n", "loop ended with 1"}
                                << "QtFatal";
    // qFatal cannot unwind to the loop, but still ends as the net does.
    QTest::newRow("qFatal") << "fatal" << 1
                            << QStringList{"QtFatal: fatal in slot 7", "] Exception: fatal in slot 7\n\n"}
                            << "loop ended";
    QTest::newRow("no fault") << "none" << 5 << QStringList{"loop ended with 5"} << "Exception";
}

void TestApp::exceptionNet()
{
    QFETCH(QString, mode);
    QFETCH(int, exitCode);
    QFETCH(QStringList, lines);
    QFETCH(QString, absent);

    TempAppFolder folder;
    QCOMPARE(runHelper(EXCEPTIONHELPER_PATH, {folder.path(), mode}),
             std::pair(QProcess::NormalExit, exitCode));
    const QString log = readFile(folder.filePath("vorlik.log"));
    for (const QString &line : lines)
        QVERIFY2(log.contains(line), qPrintable(log));
    QVERIFY2(!log.contains(absent), qPrintable(log));
}

void TestApp::crashWritesDump_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("signal");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("folderExists");
    QTest::newRow("null pointer") << "segv" << SIGSEGV << "SIGSEGV" << true;
    QTest::newRow("abort") << "abort" << SIGABRT << "SIGABRT" << true;
    QTest::newRow("arithmetic") << "fpe" << SIGFPE << "SIGFPE" << true;
    QTest::newRow("dump folder missing") << "segv" << SIGSEGV << "SIGSEGV" << false;
}

void TestApp::crashWritesDump()
{
    QFETCH(QString, mode);
    QFETCH(int, signal);
    QFETCH(QString, name);
    QFETCH(bool, folderExists);

    TempAppFolder folder;
    const QString dumpFolder = folderExists ? folder.path() : folder.filePath("gone");
    const QString logPath = folder.filePath("vorlik.log");
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    // The process still dies of its signal, as if no handler were there.
    QCOMPARE(runHelper(CRASHHELPER_PATH, {dumpFolder, logPath, mode}),
             std::pair(QProcess::CrashExit, signal));
    const QDateTime after = QDateTime::currentDateTime();

    const QStringList dumps = QDir(folder.path()).entryList({"*.dmp"}, QDir::Files);
    if (!folderExists) {
        // Only the log line is left, laid out like every other error line.
        QVERIFY(dumps.isEmpty());
        const QString log = readFile(logPath);
        QVERIFY2(QRegularExpression(
                     "^error   \\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]  \\[\\d+\\] "
                     "dumpFile not vaild 2\n\n$")
                     .match(log)
                     .hasMatch(),
                 qPrintable(log));
        return;
    }
    QCOMPARE(dumps.size(), 1);
    const QRegularExpressionMatch match =
        QRegularExpression("^(\\d{4}-\\d\\d-\\d\\d-\\d\\d-\\d\\d-\\d\\d)-vorlik\\.dmp$").match(dumps.first());
    QVERIFY2(match.hasMatch(), qPrintable(dumps.first()));
    const QDateTime stamp = QDateTime::fromString(match.captured(1), "yyyy-MM-dd-hh-mm-ss");
    QVERIFY2(stamp.isValid() && stamp >= before.addMSecs(-before.time().msec()) && stamp <= after,
             qPrintable(match.captured(1)));

    const QString dump = readFile(folder.filePath(dumps.first()));
    QVERIFY2(dump.startsWith(QString("signal %1 (%2)\n").arg(signal).arg(name)), qPrintable(dump));
    QVERIFY(dump.contains("\naddress 0x"));
    // At least the handler's own frame and main's caller are listed.
    QVERIFY2(dump.section("backtrace:\n", 1).count('\n') >= 3, qPrintable(dump));
    QVERIFY(!QFile::exists(logPath));
}

QTEST_GUILESS_MAIN(TestApp)
#include "tst_app.moc"
