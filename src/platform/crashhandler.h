#pragma once

#include <QString>

namespace platform {

// Installs the handler that writes "<folder>/<time>-vorlik.dmp" when the
// process dies of a fault. The folder is the current one until
// setCrashDumpDirectory names another.
void installCrashHandler();
void setCrashDumpDirectory(const QString &directory);

} // namespace platform
