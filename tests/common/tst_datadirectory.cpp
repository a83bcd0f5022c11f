#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include <QtTest>

#include "common/datadirectory.h"

// The choice is made once per process, so each case runs a copy of this program in a folder of
// its own. Run with "--print" it prints its choice; with "--print-early" it does so before the
// application object exists, which must not change the answer.
class TestDataDirectory : public QObject
{
    Q_OBJECT
private slots:
    void choice_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<QString>("expected");
        QTest::newRow("beside") << "--print" << false << "beside <program>";
        QTest::newRow("beside, before application") << "--print-early" << false << "beside <program>";
        // Without an application name the per-user folder gets one of ours, not the generic one.
        QTest::newRow("fallback") << "--print" << true << "fallback <data>/tst_datadirectory";
        QTest::newRow("fallback, before application") << "--print-early" << true << "fallback <data>/vorlik";
    }

    void choice()
    {
        QFETCH(QString, option);
        QFETCH(bool, readOnly);
        QFETCH(QString, expected);
        // A root-owned program folder is read-only for nobody.
        const QString setpriv = QStandardPaths::findExecutable("setpriv");
        if (readOnly && (::geteuid() != 0 || setpriv.isEmpty()))
            QSKIP("needs root and setpriv to run a copy as another user");
        QTemporaryDir programFolder, dataHome;
        const QString copy = programFolder.filePath("tst_datadirectory");
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), copy));
        QVERIFY(::chmod(qPrintable(programFolder.path()), 0755) == 0 &&
                ::chmod(qPrintable(dataHome.path()), 0777) == 0);
        QStringList command{"env", "XDG_DATA_HOME=" + dataHome.path(), "HOME=" + dataHome.path(), copy,
                            option};
        if (readOnly)
            command = QStringList{setpriv, "--reuid=65534", "--regid=65534", "--clear-groups"} + command;
        QProcess process;
        process.start(command.takeFirst(), command);
        QVERIFY(process.waitForFinished(30000) && process.exitCode() == 0);

        expected.replace("<program>", programFolder.path()).replace("<data>", dataHome.path());
        QCOMPARE(QString::fromLocal8Bit(process.readAllStandardOutput()).trimmed(), expected);
        QVERIFY(QFileInfo(expected.section(' ', 1)).isDir());
        // The write probe leaves nothing behind.
        QCOMPARE(QDir(programFolder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{"tst_datadirectory"});
    }
};

int main(int argc, char *argv[])
{
    const bool early = argc == 2 && std::strcmp(argv[1], "--print-early") == 0;
    std::unique_ptr<QCoreApplication> application(early ? nullptr : new QCoreApplication(argc, argv));
    if (early || (argc == 2 && std::strcmp(argv[1], "--print") == 0)) {
        std::printf("%s %s\n", dataDirectoryIsFallback() ? "fallback" : "beside",
                    qPrintable(dataDirectory()));
        return 0;
    }
    TestDataDirectory test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_datadirectory.moc"
