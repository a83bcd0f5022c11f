#include "platform/localsocketname.h"

#include <QStandardPaths>

namespace platform {

QString localSocketName(const QString &name)
{
    // A socket in /tmp would let other users reach it and squat on the name;
    // the runtime folder belongs to this user alone.
    QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return folder + QLatin1Char('/') + name;
}

} // namespace platform
