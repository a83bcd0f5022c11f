#pragma once

#include <QMap>
#include <QObject>
#include <QString>

class QLocalServer;
class QLocalSocket;

// The receiving end of the single-instance channel: the first copy of the
// program listens, and a later copy sends "(1)" before it gives up, so that
// the user learns why no second window opened.
class IPCServer : public QObject
{
    Q_OBJECT
public:
    // Listens at once when the application object exists, otherwise as soon
    // as it is made: the socket needs the event dispatcher that comes with it.
    explicit IPCServer(QObject *parent = nullptr);

    // The full name of the channel, the same in every copy of one user.
    static QString serverName();

    bool isListening() const;
    // Connections holding bytes that are not yet a whole command.
    qsizetype bufferedConnectionCount() const { return socketBuffers.size(); }

private slots:
    void onNewConnection();
    void onDisconnect();
    void onRecvData();

private:
    static void listenWaitingServers();
    void listen();
    void dealCommand(const QString &text);

    QLocalServer *server = nullptr;
    QMap<QLocalSocket *, QString> socketBuffers;
};

extern IPCServer *ipcServer;
