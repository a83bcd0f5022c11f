#pragma once

#include <QLocalSocket>
#include <QObject>

// The sending end of the single-instance channel. Every copy of the program
// connects once, at start; only a copy that finds another one running uses
// the connection, to tell the first copy about itself.
class IPCCLient : public QObject
{
    Q_OBJECT
public:
    explicit IPCCLient(QObject *parent = nullptr);

    // Writes "(command)" and waits a little until the bytes are out, since
    // the caller ends the process right after. The only command is 1.
    void sendCommand(int command);

private slots:
    void onStateChanged(QLocalSocket::LocalSocketState state);
    void onConnected();

private:
    QLocalSocket *socket = nullptr;
};

extern IPCCLient *ipcClient;
