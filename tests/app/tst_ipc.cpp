#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include "app/ipccommandscan.h"
#include "app/ipcserver.h"
#include "common/log.h"
#include "support/tempappfolder.h"

// The command reader on its own, and the server over real local sockets in
// this process.
class TestIpc : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void scan_data();
    void scan();
    void serverReadsCommands();
    void nameIsTakenOverOnlyWhenNobodyAnswers();

private:
    QString log() const;

    TempAppFolder folder;
};

void TestIpc::initTestCase()
{
    QVERIFY(folder.isValid());
    // A runtime folder of our own: no running copy of the program is reached.
    QVERIFY(QDir(folder.path()).mkdir("run"));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(folder.filePath("run")));
    QCOMPARE(IPCServer::serverName(), folder.filePath("run/vorlikIpcServer"));
    initLog(LogDebug, folder.path());
}

QString TestIpc::log() const
{
    QFile file(logFilePath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void TestIpc::scan_data()
{
    QTest::addColumn<QStringList>("reads");
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("rest");
    QTest::addColumn<bool>("garbage");

    QTest::newRow("doubled") << QStringList{"(1)(1)"} << QStringList{"1", "1"} << "" << false;
    QTest::newRow("three back to back")
        << QStringList{"(1)(2)(37)"} << QStringList{"1", "2", "37"} << "" << false;
    QTest::newRow("split after the bracket") << QStringList{"(", "1)"} << QStringList{"1"} << "" << false;
    QTest::newRow("split across commands")
        << QStringList{"(1", "2)(", "3)("} << QStringList{"12", "3"} << "(" << false;
    QTest::newRow("unterminated waits") << QStringList{"(12345"} << QStringList{} << "(12345" << false;
    QTest::newRow("letters and empty") << QStringList{"(abc)()"} << QStringList{"abc", ""} << "" << false;
    QTest::newRow("garbage first") << QStringList{"x(1)"} << QStringList{} << "x(1)" << true;
    QTest::newRow("garbage after a command") << QStringList{"(1)x(1)"} << QStringList{"1"} << "x(1)" << true;
    QTest::newRow("one stray byte waits") << QStringList{"(1)x"} << QStringList{"1"} << "x" << false;
}

void TestIpc::scan()
{
    QFETCH(QStringList, reads);
    QFETCH(QStringList, commands);
    QFETCH(QString, rest);
    QFETCH(bool, garbage);

    QString buffer;
    QStringList found;
    bool sawGarbage = false;
    for (const QString &read : reads) {
        buffer += read;
        const IPCCommandScan scan = scanIpcCommands(buffer);
        found += scan.commands;
        sawGarbage = scan.garbage;
    }
    QCOMPARE(found, commands);
    QCOMPARE(buffer, rest);
    QCOMPARE(sawGarbage, garbage);
}

void TestIpc::serverReadsCommands()
{
    IPCServer server;
    QVERIFY(server.isListening());
    const auto send = [](QLocalSocket &client, const QByteArray &bytes) {
        client.write(bytes);
        QVERIFY(client.waitForBytesWritten(5000));
        // Lets the server take each write as a read of its own.
        QTest::qWait(50);
    };

    {
        QLocalSocket client;
        client.connectToServer(IPCServer::serverName());
        QVERIFY(client.waitForConnected(5000));
        send(client, "(");
        send(client, "2)(one)(1)(");
        // No main window exists here, so command 1 ends at the window lookup.
        QTRY_VERIFY(log().contains("] unknown command 2\n\n"));
        const QString tail = log().section("] unknown command 2\n\n", 1);
        QVERIFY2(
            QRegularExpression("^error .*\\] command convert num fail one\n\nwarning .*\\] no window to tell "
                               "of command 1\n\n$")
                .match(tail)
                .hasMatch(),
            qPrintable(tail));
        QCOMPARE(server.bufferedConnectionCount(), 1);
        QCOMPARE(client.state(), QLocalSocket::ConnectedState);
    }
    // The partial command goes with the client, and so does its socket.
    QTRY_COMPARE(server.bufferedConnectionCount(), 0);
    QTRY_VERIFY(server.findChildren<QLocalSocket *>().isEmpty());

    QLocalSocket client;
    QSignalSpy disconnected(&client, &QLocalSocket::disconnected);
    client.connectToServer(IPCServer::serverName());
    QVERIFY(client.waitForConnected(5000));
    send(client, "x(3)");
    QTRY_COMPARE(disconnected.count(), 1);
    QVERIFY(!log().contains("] unknown command 3\n"));
}

void TestIpc::nameIsTakenOverOnlyWhenNobodyAnswers()
{
    const QString name = IPCServer::serverName();
    QFile::remove(name);

    // What a crashed copy leaves behind: a socket file nobody listens on.
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(name).constData(), sizeof(address.sun_path));
    QCOMPARE(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    ::close(fd);

    IPCServer first;
    QVERIFY(first.isListening());

    // A later server must not cut the listening one off.
    IPCServer second;
    QVERIFY(!second.isListening());
    QVERIFY(log().contains(QString("] local server listen fail %1 is in use\n").arg(name)));
    QLocalSocket client;
    client.connectToServer(name);
    QVERIFY(client.waitForConnected(5000));
    client.write("(8)");
    QVERIFY(client.waitForBytesWritten(5000));
    QTRY_VERIFY(log().contains("] unknown command 8\n"));
}

QTEST_MAIN(TestIpc)
#include "tst_ipc.moc"
