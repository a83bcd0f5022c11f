#include <memory>

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
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// A whole line as the log writes it, up to and including its first line feed.
QRegularExpression linePattern(const QString &tag, const QString &text)
{
    return QRegularExpression("^" + QRegularExpression::escape(tag) +
                              " \\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]  \\[" +
                              QString::number(applicationPid) + "\\] " + QRegularExpression::escape(text) +
                              "\n");
}

bool matches(const QString &pattern, const QString &text)
{
    return QRegularExpression(pattern).match(text).hasMatch();
}

int textsBuilt = 0;
QString countedText()
{
    ++textsBuilt;
    return "counted";
}
} // namespace

class TestLog : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void lineFormat_data();
    void lineFormat();
    void levelTestComesBeforeText();
    void oversizedLogIsEmptiedAtInit_data();
    void oversizedLogIsEmptiedAtInit();
    void threadsNeverInterleave();
    void qtMessages_data();
    void qtMessages();
    void costTimerTexts();

private:
    TempAppFolder folder;
};

void TestLog::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    applicationPid = QCoreApplication::applicationPid();

    // Lines before initLog are formatted but go to no file.
    QVERIFY(logFilePath().isEmpty());
    QVERIFY(logMessage(LogInfo, __FILE__, __LINE__, __func__, "too early").contains("too early"));
    initLog(LogDebug, folder.path());
    QCOMPARE(logFilePath(), folder.filePath("vorlik.log"));
    QVERIFY(!readLog().contains("too early"));
}

void TestLog::init()
{
    QFile::remove(folder.filePath("vorlik.log"));
    initLog(LogDebug, folder.path());
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

    const QString text = "text with 100% and %1 and ünïcode";
    const QString line = logMessage(level, "C:\\src\\file.cpp", 12, "function", text);
    QVERIFY2(linePattern(tag, text).match(line).hasMatch(), qPrintable(line));
    QCOMPARE(line.endsWith("\n\n"), blankLine);
    QVERIFY(!line.contains("file.cpp") && !line.contains("function"));
    // What is returned is exactly what lands in the file.
    QCOMPARE(readLog(), line);
}

void TestLog::levelTestComesBeforeText()
{
    textsBuilt = 0;
    logLevel = LogWarning;
    LOG_INFO(countedText());
    LOG_DEBUG(countedText());
    QCOMPARE(textsBuilt, 0);
    LOG_WARNING(countedText());
    QCOMPARE(textsBuilt, 1);
    logLevel = LogDebug;
    QCOMPARE(readLog().count("counted"), 1);
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
    {
        QFile file(logFilePath());
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.resize(size));
    }
    initLog(LogDebug, folder.path());
    QCOMPARE(QFileInfo(logFilePath()).size(), emptied ? qint64(0) : size);
}

void TestLog::threadsNeverInterleave()
{
    const int count = 2000;
    const auto writer = [count](char mark) {
        return QThread::create([count, mark] {
            for (int i = 0; i < count; ++i)
                LOG_INFO(QString(40, mark) + QString::number(i));
        });
    };
    std::unique_ptr<QThread> first(writer('a')), second(writer('b'));
    first->start();
    second->start();
    QVERIFY(first->wait(60000) && second->wait(60000));

    const QStringList lines = readLog().split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 2 * count);
    const QRegularExpression whole("^info    \\[[^\\]]+\\]  \\[\\d+\\] (a{40}|b{40})\\d+$");
    int fromFirst = 0;
    for (const QString &line : lines) {
        const QRegularExpressionMatch match = whole.match(line);
        QVERIFY2(match.hasMatch(), qPrintable(line));
        fromFirst += match.captured(1).startsWith('a');
    }
    QCOMPARE(fromFirst, count);
}

void TestLog::qtMessages_data()
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
    QTest::newRow("fatal") << int(QtFatalMsg) << "error  "
                           << "QtFatal";
}

void TestLog::qtMessages()
{
    QFETCH(int, type);
    QFETCH(QString, tag);
    QFETCH(QString, name);
    const auto handle = [type](const QMessageLogContext &context, const QString &text) {
        try {
            messageHandlerForQt5(QtMsgType(type), context, text);
        } catch (const ExceptionQtFatal &e) {
            return type == QtFatalMsg && QByteArray(e.what()) == text.toUtf8();
        }
        return type != QtFatalMsg; // only a fatal message throws, with its text
    };

    const QMessageLogContext context("src/widget.cpp", 42, "void Widget::paint()", "vorlik.paint");
    QVERIFY(handle(context, "msg %1"));
    // A "%1" in the message stays as it is.
    const QString expected = "[vorlik.paint] " + name + ": msg %1 (src/widget.cpp:42, void Widget::paint())";
    QVERIFY2(linePattern(tag, expected).match(readLog()).hasMatch(), qPrintable(readLog()));

    // Without a file the location is left out.
    init();
    QVERIFY(handle(QMessageLogContext(), "bare"));
    QVERIFY2(linePattern(tag, "[] " + name + ": bare").match(readLog()).hasMatch(), qPrintable(readLog()));

    // Installed as the handler, Qt's own messages arrive.
    if (type == QtWarningMsg) {
        const QtMessageHandler previous = qInstallMessageHandler(messageHandlerForQt5);
        qWarning("routed %d", 7);
        qInstallMessageHandler(previous);
        QVERIFY2(readLog().contains("QtWarning: routed 7"), qPrintable(readLog()));
    }
}

void TestLog::costTimerTexts()
{
    {
        COST_TIMER_START(timer, LogInfo);
        const int firstLine = __LINE__ - 1;
        COST_TIMER_POINT(timer, "load");
        COST_TIMER_POINT(timer, "sort");
        // The second stretch starts where the first ended.
        const QString expected =
            "^info   .*\\] \\(%1->%2\\) load cost \\d+ ms\ninfo   .*\\] \\(%2->%3\\) sort cost \\d+ ms\n$";
        QVERIFY2(matches(expected.arg(firstLine).arg(firstLine + 2).arg(firstLine + 3), readLog()),
                 qPrintable(readLog()));
    }
    // The point form says nothing more at its end.
    QCOMPARE(readLog().count('\n'), 2);

    // The scope form logs once at its end; a timer above the log level stays silent.
    init();
    logLevel = LogInfo;
    {
        COST_TIMER_SCOPE(LogInfo, "whole load");
        {
            COST_TIMER_SCOPE(LogDebug, "hidden");
        }
    }
    logLevel = LogDebug;
    QVERIFY2(matches("^info   .*\\] whole load cost \\d+ ms\n$", readLog()), qPrintable(readLog()));
}

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
