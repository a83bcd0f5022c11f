#include "platform/executablename.h"

namespace platform {

// Programs carry no suffix here.
QString executableFileName(const QString &baseName)
{
    return baseName;
}

} // namespace platform
