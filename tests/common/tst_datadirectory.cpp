#include <cstdio>
#include <cstring>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "common/datadirectory.h"

// The folder must be the same whether it is first asked for before or after
// the application object exists, so this test has a main of its own. Run
// with "--print" or "--print-early" it only prints its choice, for the
// fallback test, which runs a copy as an unprivileged user.
namespace {
QString beforeApplication;

int printChoice()
{
    std::printf("%s %s\n", dataDirectoryIsFallback() ? "fallback" : "beside", qPrintable(dataDirectory()));
    return 0;
}
} // namespace

class TestDataDirectory : public QObject
{
    Q_OBJECT
private slots:
    void besideTheExecutable();
    void fallsBackWhenProgramFolderIsReadOnly_data();
    void fallsBackWhenProgramFolderIsReadOnly();
};

void TestDataDirectory::besideTheExecutable()
{
    QCOMPARE(beforeApplication, QDir::cleanPath(QCoreApplication::applicationDirPath()));
    QCOMPARE(dataDirectory(), beforeApplication);
    QVERIFY(!dataDirectoryIsFallback());
    // The write probe leaves nothing behind.
    QCOMPARE(QDir(dataDirectory()).entryList({"*probe*"}, QDir::Files | QDir::Hidden), QStringList());
}

void TestDataDirectory::fallsBackWhenProgramFolderIsReadOnly_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("subfolder");
    QTest::newRow("with application") << "--print"
                                      << "tst_datadirectory";
    QTest::newRow("before application") << "--print-early"
                                        << "vorlik";
}

void TestDataDirectory::fallsBackWhenProgramFolderIsReadOnly()
{
    QFETCH(QString, option);
    QFETCH(QString, subfolder);
    const QString setpriv = QStandardPaths::findExecutable("setpriv");
    if (::geteuid() != 0 || setpriv.isEmpty())
        QSKIP("needs root and setpriv to run a copy as another user");

    // A root-owned program folder is read-only for nobody.
    QTemporaryDir programFolder, dataHome;
    QVERIFY(programFolder.isValid() && dataHome.isValid());
    const QString copy = programFolder.filePath("tst_datadirectory");
    QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), copy));
    const auto open = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                      QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
    QVERIFY(QFile::setPermissions(programFolder.path(), open) && QFile::setPermissions(copy, open));
    QVERIFY(QFile::setPermissions(dataHome.path(), open | QFile::WriteGroup | QFile::WriteOther));

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_DATA_HOME", dataHome.path());
    environment.insert("HOME", dataHome.path());
    process.setProcessEnvironment(environment);
    process.start(setpriv, {"--reuid=65534", "--regid=65534", "--clear-groups", copy, option});
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), 0);

    const QString expected = dataHome.path() + '/' + subfolder;
    QCOMPARE(QString::fromLocal8Bit(process.readAllStandardOutput()).trimmed(), "fallback " + expected);
    QVERIFY(QFileInfo(expected).isDir());
    // Nothing was left in the program folder by the failed probe.
    QCOMPARE(QDir(programFolder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{"tst_datadirectory"});
}

int main(int argc, char *argv[])
{
    const auto option = [&](const char *name) { return argc == 2 && std::strcmp(argv[1], name) == 0; };
    if (option("--print-early"))
        return printChoice();
    if (!option("--print"))
        beforeApplication = dataDirectory();
    QCoreApplication application(argc, argv);
    if (option("--print"))
        return printChoice();
    TestDataDirectory test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_datadirectory.moc"
