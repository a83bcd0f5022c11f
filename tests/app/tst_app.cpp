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
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

struct HelperRun
{
    QProcess::ExitStatus status = QProcess::NormalExit;
    int exitCode = -1;
    QByteArray errorOutput;
};

HelperRun runHelper(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    HelperRun run;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.status = process.exitStatus();
    run.exitCode = process.exitCode();
    run.errorOutput = process.readAllStandardError();
    return run;
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
    void crashDumpFolderMissing();
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

    // Not elevated: only the login start is silent, whatever else is set.
    for (int bits = 0; bits < 8; ++bits) {
        const bool schTask = bits & 1, autoStart = bits & 2, parent = bits & 4;
        QTest::addRow("plain schtask=%d auto=%d parent=%d", schTask, autoStart, parent)
            << false << schTask << autoStart << parent << !autoStart;
    }
    // Elevated by hand: always shown, even with "--AutoStart".
    for (int bits = 0; bits < 4; ++bits) {
        const bool autoStart = bits & 1, parent = bits & 2;
        QTest::addRow("elevated auto=%d parent=%d", autoStart, parent)
            << true << false << autoStart << parent << true;
    }
    // Through the scheduled task: the handing-over run decides.
    for (int bits = 0; bits < 4; ++bits) {
        const bool autoStart = bits & 1, parent = bits & 2;
        QTest::addRow("task auto=%d parent=%d", autoStart, parent)
            << true << true << autoStart << parent << !parent;
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
    QTest::addColumn<QStringList>("absent");

    QTest::newRow("std::exception") << "throw" << 1
                                    << QStringList{"] Exception: broken slot\n\n", "loop ended with 1"}
                                    << QStringList{"QtFatal"};
    QTest::newRow("other type") << "unknown" << 1 << QStringList{"] Exception: \n\n", "loop ended with 1"}
                                << QStringList{"QtFatal"};
    // qFatal cannot unwind to the loop, but still ends as the net does.
    QTest::newRow("qFatal") << "fatal" << 1
                            << QStringList{"QtFatal: fatal in slot 7", "] Exception: fatal in slot 7\n\n"}
                            << QStringList{"loop ended"};
    QTest::newRow("no fault") << "none" << 5 << QStringList{"loop ended with 5"} << QStringList{"Exception"};
}

void TestApp::exceptionNet()
{
    QFETCH(QString, mode);
    QFETCH(int, exitCode);
    QFETCH(QStringList, lines);
    QFETCH(QStringList, absent);

    TempAppFolder folder;
    const HelperRun run = runHelper(QStringLiteral(EXCEPTIONHELPER_PATH), {folder.path(), mode});
    QCOMPARE(run.status, QProcess::NormalExit);
    QCOMPARE(run.exitCode, exitCode);
    const QString log = readFile(folder.filePath(QStringLiteral("vorlik.log")));
    for (const QString &line : lines)
        QVERIFY2(log.contains(line), qPrintable(log));
    for (const QString &line : absent)
        QVERIFY2(!log.contains(line), qPrintable(log));
}

void TestApp::crashWritesDump_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("signal");
    QTest::addColumn<QString>("name");
    QTest::newRow("null pointer") << "segv" << SIGSEGV << "SIGSEGV";
    QTest::newRow("abort") << "abort" << SIGABRT << "SIGABRT";
    QTest::newRow("arithmetic") << "fpe" << SIGFPE << "SIGFPE";
}

void TestApp::crashWritesDump()
{
    QFETCH(QString, mode);
    QFETCH(int, signal);
    QFETCH(QString, name);

    TempAppFolder folder;
    const QString logPath = folder.filePath(QStringLiteral("vorlik.log"));
    const QDateTime before = QDateTime::currentDateTime().addMSecs(-1000);
    const HelperRun run = runHelper(QStringLiteral(CRASHHELPER_PATH), {folder.path(), logPath, mode});
    const QDateTime after = QDateTime::currentDateTime();

    // The process still dies of its signal, as if no handler were there.
    QCOMPARE(run.status, QProcess::CrashExit);
    QCOMPARE(run.exitCode, signal);

    const QStringList dumps = QDir(folder.path()).entryList({QStringLiteral("*-vorlik.dmp")}, QDir::Files);
    QCOMPARE(dumps.size(), 1);
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("^(\\d{4}-\\d\\d-\\d\\d-\\d\\d-\\d\\d-\\d\\d)-vorlik\\.dmp$"))
            .match(dumps.first());
    QVERIFY2(match.hasMatch(), qPrintable(dumps.first()));
    const QDateTime stamp = QDateTime::fromString(match.captured(1), QStringLiteral("yyyy-MM-dd-hh-mm-ss"));
    QVERIFY(stamp.isValid());
    QVERIFY2(stamp >= before.addMSecs(-before.time().msec()) && stamp <= after,
             qPrintable(match.captured(1)));

    const QString dump = readFile(QDir(folder.path()).filePath(dumps.first()));
    QVERIFY2(dump.startsWith(QStringLiteral("signal %1 (%2)\n").arg(signal).arg(name)), qPrintable(dump));
    QVERIFY(dump.contains(QStringLiteral("\naddress 0x")));
    // At least the handler's own frame and main's caller are listed.
    const QString backtrace = dump.section(QStringLiteral("backtrace:\n"), 1);
    QVERIFY2(backtrace.count(QLatin1Char('\n')) >= 3, qPrintable(dump));
    QVERIFY(!QFile::exists(logPath));
}

void TestApp::crashDumpFolderMissing()
{
    TempAppFolder folder;
    const QString logPath = folder.filePath(QStringLiteral("vorlik.log"));
    const HelperRun run =
        runHelper(QStringLiteral(CRASHHELPER_PATH),
                  {folder.filePath(QStringLiteral("gone")), logPath, QStringLiteral("segv")});
    QCOMPARE(run.status, QProcess::CrashExit);
    QCOMPARE(run.exitCode, SIGSEGV);

    // Only the log line is left, laid out like every other error line.
    const QString log = readFile(logPath);
    const QRegularExpression line(
        QStringLiteral("^error   \\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]  \\[\\d+\\] "
                       "dumpFile not vaild 2\n\n$"));
    QVERIFY2(line.match(log).hasMatch(), qPrintable(log));
    QVERIFY(QDir(folder.path()).entryList({QStringLiteral("*.dmp")}, QDir::Files).isEmpty());
}

QTEST_GUILESS_MAIN(TestApp)
#include "tst_app.moc"
