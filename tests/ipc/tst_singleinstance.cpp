#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QTest>

#include "support/tempappfolder.h"

// The real program started twice: the second copy ends and the first one
// shows why nothing new opened.
class TestSingleInstance : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void secondCopyTellsTheFirst_data();
    void secondCopyTellsTheFirst();

private:
    QString log() const;
    bool startFirst();

    TempAppFolder folder;
    QString program;
    QProcessEnvironment environment;
    QProcess first;
};

void TestSingleInstance::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    program = folder.filePath("vorlik");
    QVERIFY(QFile::copy(VORLIK_BINARY, program));
    QVERIFY(QFile::setPermissions(program, QFile::permissions(VORLIK_BINARY)));

    // A runtime folder of this test's own: the channel lives there, so no
    // other test's copy, nor the user's, is reached.
    QVERIFY(QDir(folder.path()).mkdir("run"));
    QVERIFY(QFile::setPermissions(folder.filePath("run"),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_RUNTIME_DIR", folder.filePath("run"));
    first.setProcessEnvironment(environment);
    first.setProcessChannelMode(QProcess::ForwardedChannels);
}

void TestSingleInstance::cleanup()
{
    if (first.state() != QProcess::NotRunning) {
        first.kill();
        first.waitForFinished();
    }
}

QString TestSingleInstance::log() const
{
    QFile file(folder.filePath("vorlik.log"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool TestSingleInstance::startFirst()
{
    first.start(program, {"--AutoStart"});
    if (!first.waitForStarted())
        return false;
    const QString ready = QString("] start exec app pid %1\n").arg(first.processId());
    [&] {
        QTRY_VERIFY_WITH_TIMEOUT(log().contains(ready) || first.state() == QProcess::NotRunning, 60000);
    }();
    return log().contains(ready);
}

void TestSingleInstance::secondCopyTellsTheFirst_data()
{
    QTest::addColumn<bool>("crashBefore");

    QTest::newRow("clean start") << false;
    // The copy killed first leaves its socket file behind.
    QTest::newRow("after a crashed copy") << true;
}

void TestSingleInstance::secondCopyTellsTheFirst()
{
    QFETCH(bool, crashBefore);

    if (crashBefore) {
        QVERIFY(startFirst());
        first.kill();
        QVERIFY(first.waitForFinished(60000));
        QVERIFY(QFile::exists(folder.filePath("run/vorlikIpcServer")));
    }
    QVERIFY2(startFirst(), qPrintable(log().right(3000)));
    const qint64 firstPid = first.processId();

    QProcess second;
    second.setProcessEnvironment(environment);
    second.setProcessChannelMode(QProcess::ForwardedChannels);
    second.start(program, {"--AutoStart"});
    QVERIFY(second.waitForStarted());
    const qint64 secondPid = second.processId();
    QVERIFY(second.waitForFinished(60000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 0);

    QTRY_VERIFY2(log().contains(QString("[%1] notify 重复启动应用\n").arg(firstPid)),
                 qPrintable(log().right(3000)));
    QVERIFY(log().contains(QString("[%1] fail to lock file\n").arg(secondPid)));
    QVERIFY(!log().contains(QString("[%1] socket state").arg(secondPid)));
    QCOMPARE(first.state(), QProcess::Running);
}

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
