#pragma once

#include <QString>
#include <QStringList>

// What one look at a connection's buffer found.
struct IPCCommandScan
{
    // The texts between the brackets of the whole commands, in order.
    QStringList commands;
    // The buffer does not start with "(": the sender is not speaking the
    // protocol and the connection is to be closed.
    bool garbage = false;
};

// Cuts the whole commands "(n)" off the front of one connection's buffer.
// What stays behind is an unfinished command, which waits for more bytes,
// or the garbage that was found.
IPCCommandScan scanIpcCommands(QString &buffer);
