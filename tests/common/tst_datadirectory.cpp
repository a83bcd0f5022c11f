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

void printChoice()
{
    std::printf("%s %s\n", dataDirectoryIsFallback() ? "fallback" : "beside", qPrintable(dataDirectory()));
}
} // namespace

class TestDataDirectory : public QObject
{
    Q_OBJECT
private slots:
    void besideTheExecutable();
    void probeLeavesNothingBehind();
    void fallsBackWhenProgramFolderIsReadOnly_data();
    void fallsBackWhenProgramFolderIsReadOnly();
};

void TestDataDirectory::besideTheExecutable()
{
    QVERIFY(!beforeApplication.isEmpty());
    QCOMPARE(beforeApplication, QDir::cleanPath(QCoreApplication::applicationDirPath()));
    QCOMPARE(dataDirectory(), beforeApplication);
    QVERIFY(!dataDirectoryIsFallback());
}

void TestDataDirectory::probeLeavesNothingBehind()
{
    const QStringList leftovers =
        QDir(dataDirectory()).entryList({QStringLiteral("*probe*")}, QDir::Files | QDir::Hidden);
    QVERIFY2(leftovers.isEmpty(), qPrintable(leftovers.join(QLatin1Char(' '))));
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
    const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
    if (::geteuid() != 0 || setpriv.isEmpty())
        QSKIP("needs root and setpriv to run a copy as another user");

    // A root-owned program folder is read-only for nobody.
    QTemporaryDir programFolder;
    QTemporaryDir dataHome;
    QVERIFY(programFolder.isValid() && dataHome.isValid());
    const QString copy = programFolder.filePath(QStringLiteral("tst_datadirectory"));
    QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), copy));
    const auto open = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                      QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
    QVERIFY(QFile::setPermissions(programFolder.path(), open));
    QVERIFY(QFile::setPermissions(copy, open));
    QVERIFY(QFile::setPermissions(dataHome.path(), open | QFile::WriteGroup | QFile::WriteOther));

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome.path());
    environment.insert(QStringLiteral("HOME"), dataHome.path());
    process.setProcessEnvironment(environment);
    process.start(setpriv, {QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                            QStringLiteral("--clear-groups"), copy, option});
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), 0);

    const QString expected = dataHome.path() + QLatin1Char('/') + subfolder;
    QCOMPARE(QString::fromLocal8Bit(process.readAllStandardOutput()).trimmed(),
             QStringLiteral("fallback ") + expected);
    QVERIFY(QFileInfo(expected).isDir());
    // Nothing was left in the program folder by the failed probe.
    QCOMPARE(QDir(programFolder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("tst_datadirectory")});
}

int main(int argc, char *argv[])
{
    const bool print = argc == 2 && std::strcmp(argv[1], "--print") == 0;
    if (argc == 2 && std::strcmp(argv[1], "--print-early") == 0) {
        printChoice();
        return 0;
    }
    if (!print)
        beforeApplication = dataDirectory();
    QCoreApplication application(argc, argv);
    if (print) {
        printChoice();
        return 0;
    }
    TestDataDirectory test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_datadirectory.moc"
