#pragma once

#include <QString>

namespace platform {

// The file name of a program called `baseName`, with the suffix that
// executables carry on this platform.
QString executableFileName(const QString &baseName);

} // namespace platform
