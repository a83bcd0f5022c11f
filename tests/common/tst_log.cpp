#include <utility>

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>
#include <QThread>

#include "common/costtimer.h"
#include "common/exceptionqtfatal.h"
#include "common/log.h"
#include "common/processflags.h"
#include "support/tempappfolder.h"

namespace {
QString readLog()
{
    QFile file(logFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

// A whole line as the log writes it, up to and including its first line feed.
QRegularExpression linePattern(const QString &tag, const QString &text)
{
    return QRegularExpression(
        QStringLiteral("^") + QRegularExpression::escape(tag) +
        QStringLiteral(" \\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]  \\[") +
        QString::number(applicationPid) + QStringLiteral("\\] ") + QRegularExpression::escape(text) +
        QStringLiteral("\n"));
}

int textsBuilt = 0;
QString countedText()
{
    ++textsBuilt;
    return QStringLiteral("counted");
}

class LoggingThread : public QThread
{
public:
    LoggingThread(QString mark, int count) : mark(std::move(mark)), count(count) {}

protected:
    void run() override
    {
        for (int i = 0; i < count; ++i)
            LOG_INFO(mark.repeated(40) + QString::number(i));
    }

private:
    QString mark;
    int count;
};
} // namespace

class TestLog : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void linesBeforeInitGoNowhere();
    void lineFormat_data();
    void lineFormat();
    void levelTestComesBeforeText();
    void oversizedLogIsEmptiedAtInit_data();
    void oversizedLogIsEmptiedAtInit();
    void threadsNeverInterleave();
    void qtMessagesAreRouted_data();
    void qtMessagesAreRouted();
    void qtMessagesReachTheLog();
    void fatalMessageThrows();
    void exceptionLine();
    void costTimerTexts();

private:
    void startLog();

    TempAppFolder folder;
    QString earlyLine;
};

void TestLog::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    applicationPid = QCoreApplication::applicationPid();
}

void TestLog::startLog()
{
    QFile::remove(folder.filePath(QStringLiteral("vorlik.log")));
    initLog(LogDebug, folder.path());
}

void TestLog::linesBeforeInitGoNowhere()
{
    QVERIFY(logFilePath().isEmpty());
    earlyLine = logMessage(LogInfo, __FILE__, __LINE__, __func__, QStringLiteral("too early"));
    QVERIFY(earlyLine.contains(QStringLiteral("too early")));

    startLog();
    QCOMPARE(logFilePath(), folder.filePath(QStringLiteral("vorlik.log")));
    LOG_INFO(QStringLiteral("first"));
    const QString log = readLog();
    QVERIFY(!log.contains(QStringLiteral("too early")));
    QVERIFY(log.contains(QStringLiteral("first")));
}

void TestLog::lineFormat_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("tag");
    QTest::addColumn<bool>("blankLine");
    QTest::newRow("error") << int(LogError) << "error  " << true;
    QTest::newRow("warning") << int(LogWarning) << "warning" << true;
    QTest::newRow("info") << int(LogInfo) << "info   " << false;
    QTest::newRow("debug") << int(LogDebug) << "debug  " << false;
    QTest::newRow("other") << 7 << "unknown" << false;
}

void TestLog::lineFormat()
{
    QFETCH(int, level);
    QFETCH(QString, tag);
    QFETCH(bool, blankLine);
    startLog();

    const QString text = QStringLiteral("text with 100% and %1 and ünïcode");
    const QString line = logMessage(level, "C:\\src\\file.cpp", 12, "function", text);
    QVERIFY2(linePattern(tag, text).match(line).hasMatch(), qPrintable(line));
    QCOMPARE(line.endsWith(QStringLiteral("\n\n")), blankLine);
    QVERIFY(!line.contains(QStringLiteral("file.cpp")));
    QVERIFY(!line.contains(QStringLiteral("function")));
    // What is returned is exactly what lands in the file.
    QCOMPARE(readLog(), line);
}

void TestLog::levelTestComesBeforeText()
{
    startLog();
    textsBuilt = 0;
    logLevel = LogWarning;
    LOG_INFO(countedText());
    LOG_DEBUG(countedText());
    QCOMPARE(textsBuilt, 0);
    LOG_WARNING(countedText());
    QCOMPARE(textsBuilt, 1);
    logLevel = LogDebug;
    QCOMPARE(readLog().count(QStringLiteral("counted")), 1);
}

void TestLog::oversizedLogIsEmptiedAtInit_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("emptied");
    QTest::newRow("17 MiB") << qint64(17) * 1024 * 1024 << true;
    QTest::newRow("16 MiB + 1") << qint64(0x1000000) + 1 << true;
    QTest::newRow("exactly 16 MiB") << qint64(0x1000000) << false;
    QTest::newRow("small") << qint64(100) << false;
}

void TestLog::oversizedLogIsEmptiedAtInit()
{
    QFETCH(qint64, size);
    QFETCH(bool, emptied);
    const QString path = folder.filePath(QStringLiteral("vorlik.log"));
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QVERIFY(file.resize(size));
    }
    initLog(LogDebug, folder.path());
    QCOMPARE(QFileInfo(path).size(), emptied ? qint64(0) : size);
}

void TestLog::threadsNeverInterleave()
{
    startLog();
    const int count = 2000;
    LoggingThread first(QStringLiteral("a"), count);
    LoggingThread second(QStringLiteral("b"), count);
    first.start();
    second.start();
    QVERIFY(first.wait(60000));
    QVERIFY(second.wait(60000));

    const QStringList lines = readLog().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 2 * count);
    const QRegularExpression whole(QStringLiteral("^info    \\[[^\\]]+\\]  \\[\\d+\\] (a{40}|b{40})\\d+$"));
    int perMark[2] = {0, 0};
    for (const QString &line : lines) {
        const QRegularExpressionMatch match = whole.match(line);
        QVERIFY2(match.hasMatch(), qPrintable(line));
        ++perMark[match.captured(1).startsWith(QLatin1Char('a')) ? 0 : 1];
    }
    QCOMPARE(perMark[0], count);
    QCOMPARE(perMark[1], count);
}

void TestLog::qtMessagesAreRouted_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("tag");
    QTest::addColumn<QString>("name");
    QTest::newRow("debug") << int(QtDebugMsg) << "debug  "
                           << "QtDebug";
    QTest::newRow("info") << int(QtInfoMsg) << "info   "
                          << "QtInfo";
    QTest::newRow("warning") << int(QtWarningMsg) << "warning"
                             << "QtWarning";
    QTest::newRow("critical") << int(QtCriticalMsg) << "warning"
                              << "QtCritical";
}

void TestLog::qtMessagesAreRouted()
{
    QFETCH(int, type);
    QFETCH(QString, tag);
    QFETCH(QString, name);
    startLog();

    const QMessageLogContext context("src/widget.cpp", 42, "void Widget::paint()", "vorlik.paint");
    messageHandlerForQt5(QtMsgType(type), context, QStringLiteral("msg %1"));
    // A "%1" in the message stays as it is.
    const QString expected = QStringLiteral("[vorlik.paint] ") + name +
                             QStringLiteral(": msg %1 (src/widget.cpp:42, void Widget::paint())");
    QVERIFY2(linePattern(tag, expected).match(readLog()).hasMatch(), qPrintable(readLog()));

    // Without a file the location is left out.
    startLog();
    messageHandlerForQt5(QtMsgType(type), QMessageLogContext(), QStringLiteral("bare"));
    QVERIFY2(readLog().contains(QStringLiteral("[] %1: bare\n").arg(name)), qPrintable(readLog()));
}

void TestLog::qtMessagesReachTheLog()
{
    startLog();
    const QtMessageHandler previous = qInstallMessageHandler(messageHandlerForQt5);
    qWarning("routed %d", 7);
    qInstallMessageHandler(previous);
    QVERIFY2(readLog().contains(QStringLiteral("QtWarning: routed 7")), qPrintable(readLog()));
}

void TestLog::fatalMessageThrows()
{
    startLog();
    bool thrown = false;
    try {
        messageHandlerForQt5(QtFatalMsg, QMessageLogContext(), QStringLiteral("it is over"));
    } catch (const ExceptionQtFatal &e) {
        thrown = true;
        QCOMPARE(QByteArray(e.what()), QByteArray("it is over"));
    }
    QVERIFY(thrown);
    QVERIFY(linePattern(QStringLiteral("error  "), QStringLiteral("[] QtFatal: it is over"))
                .match(readLog())
                .hasMatch());
}

void TestLog::exceptionLine()
{
    startLog();
    logException(QStringLiteral("bad thing"));
    logException();
    const QString log = readLog();
    QVERIFY(
        linePattern(QStringLiteral("error  "), QStringLiteral("Exception: bad thing")).match(log).hasMatch());
    QVERIFY(log.contains(QStringLiteral("] Exception: \n\n")));
}

void TestLog::costTimerTexts()
{
    startLog();
    {
        COST_TIMER_START(timer, LogInfo);
        const int firstLine = __LINE__ - 1;
        COST_TIMER_POINT(timer, QStringLiteral("load"));
        const int secondLine = __LINE__ - 1;
        COST_TIMER_POINT(timer, QStringLiteral("sort"));
        const int thirdLine = __LINE__ - 1;
        const QString log = readLog();
        QVERIFY2(QRegularExpression(QStringLiteral("info   .*\\] \\(%1->%2\\) load cost \\d+ ms\n")
                                        .arg(firstLine)
                                        .arg(secondLine))
                     .match(log)
                     .hasMatch(),
                 qPrintable(log));
        // The second stretch starts where the first ended.
        QVERIFY2(QRegularExpression(
                     QStringLiteral("\\(%1->%2\\) sort cost \\d+ ms\n").arg(secondLine).arg(thirdLine))
                     .match(log)
                     .hasMatch(),
                 qPrintable(log));
    }
    // The point form says nothing more at its end.
    QCOMPARE(readLog().count(QLatin1Char('\n')), 2);

    startLog();
    {
        COST_TIMER_SCOPE(LogDebug, QStringLiteral("whole load"));
    }
    QVERIFY2(QRegularExpression(QStringLiteral("^debug  .*\\] whole load cost \\d+ ms\n$"))
                 .match(readLog())
                 .hasMatch(),
             qPrintable(readLog()));

    // A timer above the log level stays silent.
    startLog();
    logLevel = LogInfo;
    {
        COST_TIMER_SCOPE(LogDebug, QStringLiteral("hidden"));
    }
    logLevel = LogDebug;
    QVERIFY(readLog().isEmpty());
}

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
