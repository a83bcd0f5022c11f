#include "app/ipcclient.h"

#include "app/ipcserver.h"
#include "common/log.h"

IPCCLient *ipcClient = nullptr;

namespace {
// Long enough for a local socket, short enough not to hold up a copy that
// is about to end anyway.
constexpr int sendTimeoutMs = 1000;
} // namespace

IPCCLient::IPCCLient(QObject *parent) : QObject(parent), socket(new QLocalSocket(this))
{
    connect(socket, &QLocalSocket::stateChanged, this, &IPCCLient::onStateChanged);
    connect(socket, &QLocalSocket::connected, this, &IPCCLient::onConnected);
    // In a first copy nobody listens yet; the socket stays unconnected and
    // is never tried again.
    socket->connectToServer(IPCServer::serverName(), QIODevice::ReadWrite);
}

void IPCCLient::sendCommand(int command)
{
    if (socket->state() != QLocalSocket::ConnectedState) {
        LOG_ERROR(QStringLiteral("socket state %1").arg(int(socket->state())));
        return;
    }
    socket->write(QStringLiteral("(%1)").arg(command).toUtf8());
    if (!socket->waitForBytesWritten(sendTimeoutMs))
        LOG_ERROR(QStringLiteral("command %1 not sent: %2").arg(command).arg(socket->errorString()));
}

void IPCCLient::onStateChanged(QLocalSocket::LocalSocketState state)
{
    LOG_INFO(QStringLiteral("state %1").arg(int(state)));
}

void IPCCLient::onConnected()
{
    LOG_INFO(QStringLiteral("connect state %1 connect state %2")
                 .arg(int(socket->state()))
                 .arg(int(QLocalSocket::ConnectedState)));
}
