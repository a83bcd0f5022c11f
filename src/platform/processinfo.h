#pragma once

#include <QString>

// Processes as the clipboard attribution needs them.
namespace platform {

using ProcessId = qint64;

// Whether this process runs with administrator rights (root off Windows).
bool isProcessElevated();

ProcessId currentProcessId();
// Full path of the process's executable; false when it cannot be read.
bool executablePath(ProcessId pid, QString &path);
// 0 when not found.
ProcessId parentProcessId(ProcessId pid);

} // namespace platform
