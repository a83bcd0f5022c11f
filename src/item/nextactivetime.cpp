#include "item/nextactivetime.h"

#include <QDateTime>

qulonglong nextActiveTime()
{
    // Only the GUI thread hands out action times, so the state needs no lock.
    static qulonglong lastTime = 0;
    const qulonglong now = qulonglong(QDateTime::currentMSecsSinceEpoch());
    qulonglong result = now;
    // Within a second behind the last value the clock is taken as not yet
    // moved on; further back it has really been set back and is followed.
    if (lastTime >= now && now + 1000 > lastTime)
        result = lastTime + 1;
    lastTime = result;
    return result;
}
