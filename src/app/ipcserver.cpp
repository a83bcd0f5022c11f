#include "app/ipcserver.h"

#include <utility>

#include <QCoreApplication>
#include <QList>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>

#include "app/clipboardmanager.h"
#include "app/ipccommandscan.h"
#include "common/log.h"
#include "platform/localsocketname.h"
#include "window/mainwindow.h"

IPCServer *ipcServer = nullptr;

namespace {
// Servers made before the application object, listening once it exists.
QList<QPointer<IPCServer>> &waitingServers()
{
    static QList<QPointer<IPCServer>> servers;
    return servers;
}

// How long a socket file may take to answer before it counts as left
// behind by a copy that crashed. A live server accepts at once.
constexpr int probeTimeoutMs = 500;

// Commands are a few bytes; a peer whose unfinished command outgrows this
// is not speaking the protocol. Reads are taken in pieces of this size, so
// that no single write of a peer makes the buffer larger.
constexpr qint64 maxPendingCommandBytes = 64 * 1024;
} // namespace

IPCServer::IPCServer(QObject *parent) : QObject(parent), server(new QLocalServer(this))
{
    server->setSocketOptions(QLocalServer::UserAccessOption);
    if (QCoreApplication::instance()) {
        listen();
        return;
    }
    static const bool hooked = (qAddPreRoutine(&IPCServer::listenWaitingServers), true);
    Q_UNUSED(hooked);
    waitingServers().append(this);
}

QString IPCServer::serverName()
{
    return platform::localSocketName(QStringLiteral("vorlikIpcServer"));
}

bool IPCServer::isListening() const
{
    return server->isListening();
}

void IPCServer::listenWaitingServers()
{
    const QList<QPointer<IPCServer>> servers = std::exchange(waitingServers(), {});
    for (const QPointer<IPCServer> &waiting : servers) {
        if (waiting)
            waiting->listen();
    }
}

void IPCServer::listen()
{
    const QString name = serverName();
    {
        // With the access option Qt puts its socket in place of any file of
        // that name, which would cut off a running first copy. So the name
        // is taken over only when nobody answers on it.
        QLocalSocket probe;
        probe.connectToServer(name);
        if (probe.waitForConnected(probeTimeoutMs)) {
            LOG_ERROR(
                QStringLiteral("local server listen fail %1").arg(QStringLiteral("%1 is in use").arg(name)));
            return;
        }
    }
    QLocalServer::removeServer(name);
    if (!server->listen(name)) {
        LOG_ERROR(QStringLiteral("local server listen fail %1").arg(server->errorString()));
        return;
    }
    connect(server, &QLocalServer::newConnection, this, &IPCServer::onNewConnection);
}

void IPCServer::onNewConnection()
{
    while (QLocalSocket *socket = server->nextPendingConnection()) {
        LOG_INFO(QStringLiteral("new connection"));
        connect(socket, &QLocalSocket::readyRead, this, &IPCServer::onRecvData);
        connect(socket, &QLocalSocket::disconnected, this, &IPCServer::onDisconnect);
    }
}

void IPCServer::onRecvData()
{
    auto *socket = qobject_cast<QLocalSocket *>(sender());
    if (!socket)
        return;

    while (socket->bytesAvailable() > 0) {
        QString buffer = socketBuffers.value(socket) + QString::fromUtf8(socket->read(maxPendingCommandBytes));
        const IPCCommandScan scan = scanIpcCommands(buffer);
        socketBuffers.insert(socket, buffer);
        for (const QString &command : scan.commands)
            dealCommand(command);
        // Closing runs onDisconnect at once, which drops the buffer.
        if (scan.garbage) {
            socket->close();
            return;
        }
        if (buffer.size() > maxPendingCommandBytes) {
            LOG_WARNING(QStringLiteral("unfinished command longer than %1 bytes, connection dropped")
                            .arg(maxPendingCommandBytes));
            socket->close();
            return;
        }
    }
}

void IPCServer::onDisconnect()
{
    auto *socket = qobject_cast<QLocalSocket *>(sender());
    if (!socket) {
        LOG_ERROR(QStringLiteral("cannot find socket"));
        return;
    }
    socketBuffers.remove(socket);
    // Nothing more can come from it; without this every second start would
    // leave a dead socket behind under the server.
    socket->disconnect(this);
    socket->deleteLater();
}

void IPCServer::dealCommand(const QString &text)
{
    bool ok = false;
    const int command = text.toInt(&ok, 10);
    if (!ok) {
        LOG_ERROR(QStringLiteral("command convert num fail %1").arg(text));
        return;
    }
    if (command != 1) {
        LOG_WARNING(QStringLiteral("unknown command %1").arg(command));
        return;
    }
    MainWindow *window = clipBoardManager ? clipBoardManager->mainWindow() : nullptr;
    if (!window) {
        LOG_WARNING(QStringLiteral("no window to tell of command %1").arg(command));
        return;
    }
    window->notify(tr("重复启动应用"));
}
