#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTest>

#include "support/tempappfolder.h"

// The real program started twice: the second copy ends and the first one
// shows why nothing new opened.
class TestSingleInstance : public QObject
{
    Q_OBJECT
private slots:
    void secondCopyTellsTheFirst();

private:
    QString log() const;
    bool start(QProcess &process);

    TempAppFolder folder;
};

QString TestSingleInstance::log() const
{
    QFile file(folder.filePath("vorlik.log"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool TestSingleInstance::start(QProcess &process)
{
    // A runtime folder of this test's own: no other test's copy, nor the
    // user's, is reached.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_RUNTIME_DIR", folder.filePath("run"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(folder.filePath("vorlik"), {"--AutoStart"});
    return process.waitForStarted();
}

void TestSingleInstance::secondCopyTellsTheFirst()
{
    QVERIFY(folder.isValid());
    QVERIFY(QFile::copy(VORLIK_BINARY, folder.filePath("vorlik")));
    QVERIFY(QFile::setPermissions(folder.filePath("vorlik"), QFile::permissions(VORLIK_BINARY)));
    QVERIFY(QDir(folder.path()).mkdir("run"));
    QVERIFY(QFile::setPermissions(folder.filePath("run"),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

    QProcess first;
    const auto startFirst = [&] {
        QVERIFY(start(first));
        const QString ready = QString("] start exec app pid %1\n").arg(first.processId());
        QTRY_VERIFY2_WITH_TIMEOUT(log().contains(ready), qPrintable(log().right(3000)), 60000);
    };
    // A killed first copy leaves its socket file behind; the next first
    // copy must listen all the same.
    startFirst();
    first.kill();
    QVERIFY(first.waitForFinished(60000));
    QVERIFY(QFile::exists(folder.filePath("run/vorlikIpcServer")));
    startFirst();

    QProcess second;
    QVERIFY(start(second));
    const qint64 secondPid = second.processId();
    QVERIFY(second.waitForFinished(60000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 0);

    QTRY_VERIFY2(log().contains(QString("[%1] notify 重复启动应用\n").arg(first.processId())),
                 qPrintable(log().right(3000)));
    QVERIFY(log().contains(QString("[%1] fail to lock file\n").arg(secondPid)));
    QVERIFY(!log().contains(QString("[%1] socket state").arg(secondPid)));
    QCOMPARE(first.state(), QProcess::Running);
    first.kill();
    first.waitForFinished();
}

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
