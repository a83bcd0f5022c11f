#include <QtTest>

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

// Whether the log is exactly this one line; errors and warnings stand apart by a blank line.
bool logIs(const QString &tag, const QString &text)
{
    return QRegularExpression("^" + QRegularExpression::escape(tag) +
                              " \\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]  \\[" +
                              QString::number(applicationPid) + "\\] " + QRegularExpression::escape(text) +
                              (tag == "error  " || tag == "warning" ? "\n\n\\z" : "\n\\z"))
        .match(readLog())
        .hasMatch();
}
} // namespace

class TestLog : public QObject
{
    Q_OBJECT
    TempAppFolder folder;

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        applicationPid = QCoreApplication::applicationPid();
        // Lines before initLog are formatted but go to no file.
        QVERIFY(logMessage(LogInfo, __FILE__, __LINE__, __func__, "too early").contains("too early"));
        initLog(LogDebug, folder.path());
        QCOMPARE(logFilePath(), folder.filePath("vorlik.log"));
        QVERIFY(!QFile::exists(logFilePath()));
    }

    void init()
    {
        QFile::remove(folder.filePath("vorlik.log"));
        initLog(LogDebug, folder.path());
    }

    // The Qt types map on the levels; the level tags are told apart in the line.
    void qtMessages_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<bool>("withFile");
        QTest::newRow("debug") << "QtDebug" << int(QtDebugMsg) << "debug  " << true;
        QTest::newRow("info") << "QtInfo" << int(QtInfoMsg) << "info   " << false;
        QTest::newRow("warning") << "QtWarning" << int(QtWarningMsg) << "warning" << true;
        QTest::newRow("critical") << "QtCritical" << int(QtCriticalMsg) << "warning" << false;
        QTest::newRow("fatal") << "QtFatal" << int(QtFatalMsg) << "error  " << true;
    }

    void qtMessages()
    {
        QFETCH(QString, name);
        QFETCH(int, type);
        QFETCH(QString, tag);
        QFETCH(bool, withFile);
        // Release builds of Qt pass no file; the location is then left out.
        const QMessageLogContext context(withFile ? "src/widget.cpp" : nullptr, 42, "void Widget::paint()",
                                         "vorlik.paint");
        try {
            messageHandlerForQt5(QtMsgType(type), context, "100% and %1 and ünïcode");
            QVERIFY(type != QtFatalMsg);
        } catch (const ExceptionQtFatal &e) {
            // Only a fatal message throws, with its text, instead of aborting.
            QCOMPARE(e.what(), "100% and %1 and ünïcode");
        }
        const QString where = withFile ? " (src/widget.cpp:42, void Widget::paint())" : "";
        QVERIFY2(logIs(tag, "[vorlik.paint] " + name + ": 100% and %1 and ünïcode" + where),
                 qPrintable(readLog()));
    }

    void oversizedLogIsEmptiedAtInit_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("emptied");
        QTest::newRow("16 MiB + 1") << qint64(0x1000000) + 1 << true;
        QTest::newRow("exactly 16 MiB") << qint64(0x1000000) << false;
    }

    void oversizedLogIsEmptiedAtInit()
    {
        QFETCH(qint64, size);
        QFETCH(bool, emptied);
        LOG_INFO("start");
        QVERIFY(QFile::resize(logFilePath(), size));
        initLog(LogDebug, folder.path());
        QCOMPARE(QFile(logFilePath()).size(), emptied ? qint64(0) : size);
    }
};

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
