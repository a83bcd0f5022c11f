#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTest>

#include "common/datadirectory.h"

// The folder must be the same whether it is first asked for before or after
// the application object exists, so this test has a main of its own.
namespace {
QString beforeApplication;
}

class TestDataDirectory : public QObject
{
    Q_OBJECT
private slots:
    void besideTheExecutable();
    void probeLeavesNothingBehind();
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

int main(int argc, char *argv[])
{
    beforeApplication = dataDirectory();
    QCoreApplication application(argc, argv);
    TestDataDirectory test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_datadirectory.moc"
