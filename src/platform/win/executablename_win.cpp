#include "platform/executablename.h"

namespace platform {

QString executableFileName(const QString &baseName)
{
    return baseName + QStringLiteral(".exe");
}

} // namespace platform
