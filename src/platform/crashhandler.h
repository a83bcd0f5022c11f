#pragma once

#include <QString>

namespace platform {

// Installs the handler that writes "<folder>/<time>-vorlik.dmp" when the
// process dies of a fault. The folder is the current one until
// setCrashDumpDirectory names another.
void installCrashHandler();
void setCrashDumpDirectory(const QString &directory);
// The log file that learns about a dump that could not be written. Until it
// is named, such a failure goes unreported.
void setCrashLogFile(const QString &path);

} // namespace platform
