#include "app/ipccommandscan.h"

IPCCommandScan scanIpcCommands(QString &buffer)
{
    IPCCommandScan scan;
    // Fewer than two characters cannot be judged yet: even "(" alone may
    // be the first byte of a command split over two reads.
    while (buffer.size() >= 2) {
        if (buffer.at(0) != QLatin1Char('(')) {
            scan.garbage = true;
            break;
        }
        const qsizetype close = buffer.indexOf(QLatin1Char(')'), 1);
        if (close < 0)
            break;
        scan.commands.append(buffer.mid(1, close - 1));
        buffer.remove(0, close + 1);
    }
    return scan;
}
