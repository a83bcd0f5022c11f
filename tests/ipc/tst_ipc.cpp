#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QLocalSocket>
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
    void serverCommands_data();
    void serverCommands();
    void disconnectDropsBuffer();
    void nameIsTakenOverOnlyWhenNobodyAnswers();

private:
    void markLog();
    QString logSinceMark();
    bool connectClient(QLocalSocket &client);

    TempAppFolder folder;
    qint64 logRead = 0;
    QString logSeen;
};

void TestIpc::initTestCase()
{
    QVERIFY(folder.isValid());
    // Our own runtime folder, so that no running copy of the program is
    // reached and parallel tests keep apart.
    QVERIFY(QDir(folder.path()).mkdir("run"));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(folder.filePath("run")));
    QCOMPARE(IPCServer::serverName(), folder.filePath("run/vorlikIpcServer"));
    initLog(LogDebug, folder.path());
}

// The log from here on; what came before is skipped.
void TestIpc::markLog()
{
    logSinceMark();
    logSeen.clear();
}

// The log lines written since the last mark. Reading again gives the same
// text and more, so it may sit inside QTRY_*.
QString TestIpc::logSinceMark()
{
    QFile file(logFilePath());
    if (file.open(QIODevice::ReadOnly) && file.seek(logRead)) {
        const QByteArray bytes = file.readAll();
        logRead += bytes.size();
        logSeen += QString::fromUtf8(bytes);
    }
    return logSeen;
}

bool TestIpc::connectClient(QLocalSocket &client)
{
    client.connectToServer(IPCServer::serverName());
    return client.waitForConnected(5000);
}

void TestIpc::scan_data()
{
    QTest::addColumn<QStringList>("reads");
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("rest");
    QTest::addColumn<bool>("garbage");

    QTest::newRow("one") << QStringList{"(1)"} << QStringList{"1"} << "" << false;
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

void TestIpc::serverCommands_data()
{
    QTest::addColumn<QStringList>("writes");
    QTest::addColumn<QStringList>("logged");
    QTest::addColumn<bool>("closed");

    // No main window exists here, so command 1 ends at the window lookup.
    QTest::newRow("command 1") << QStringList{"(1)"} << QStringList{"no window to tell of command 1"}
                               << false;
    QTest::newRow("split, then doubled")
        << QStringList{"(", "2)", "(3)(4)"}
        << QStringList{"unknown command 2", "unknown command 3", "unknown command 4"} << false;
    QTest::newRow("letters keep the connection")
        << QStringList{"(one)", "(5)"} << QStringList{"command convert num fail one", "unknown command 5"}
        << false;
    QTest::newRow("garbage closes") << QStringList{"x(6)"} << QStringList{} << true;
}

void TestIpc::serverCommands()
{
    QFETCH(QStringList, writes);
    QFETCH(QStringList, logged);
    QFETCH(bool, closed);

    IPCServer server;
    QVERIFY(server.isListening());
    QLocalSocket client;
    QSignalSpy disconnected(&client, &QLocalSocket::disconnected);
    markLog();
    QVERIFY(connectClient(client));
    QTRY_VERIFY(logSinceMark().contains("] new connection\n"));
    markLog();

    for (const QString &write : writes) {
        client.write(write.toUtf8());
        QVERIFY(client.waitForBytesWritten(5000));
        // Lets the server take each write as a read of its own.
        QTest::qWait(50);
    }
    const auto loggedTexts = [&] {
        QStringList texts;
        for (const QString &line : logSinceMark().split('\n', Qt::SkipEmptyParts))
            texts << line.section("] ", 2);
        return texts;
    };
    if (closed)
        QTRY_COMPARE(disconnected.count(), 1);
    QTRY_COMPARE(loggedTexts(), logged);
    if (!closed)
        QCOMPARE(client.state(), QLocalSocket::ConnectedState);
}

void TestIpc::disconnectDropsBuffer()
{
    IPCServer server;
    QVERIFY(server.isListening());
    {
        QLocalSocket client;
        QVERIFY(connectClient(client));
        client.write("(7");
        QVERIFY(client.waitForBytesWritten(5000));
        QTRY_COMPARE(server.bufferedConnectionCount(), 1);
    }
    QTRY_COMPARE(server.bufferedConnectionCount(), 0);
    // Nor is the dead socket kept.
    QTRY_VERIFY(server.findChildren<QLocalSocket *>().isEmpty());
}

void TestIpc::nameIsTakenOverOnlyWhenNobodyAnswers()
{
    const QString name = IPCServer::serverName();
    QFile::remove(name);

    // What a crashed copy leaves behind: a socket file nobody listens on.
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    QVERIFY(fd >= 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(name);
    qstrncpy(address.sun_path, path.constData(), sizeof(address.sun_path));
    QCOMPARE(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    ::close(fd);
    QVERIFY(QFile::exists(name));

    IPCServer first;
    QVERIFY(first.isListening());

    // A later server must not cut the listening one off.
    markLog();
    IPCServer second;
    QVERIFY(!second.isListening());
    QTRY_VERIFY(logSinceMark().contains(QString("] local server listen fail %1 is in use\n").arg(name)));
    QLocalSocket client;
    QVERIFY(connectClient(client));
    client.write("(8)");
    QVERIFY(client.waitForBytesWritten(5000));
    QTRY_VERIFY(logSinceMark().contains("] unknown command 8\n"));
}

QTEST_MAIN(TestIpc)
#include "tst_ipc.moc"
