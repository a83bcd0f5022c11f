#pragma once

#include <QString>

// Processes as the clipboard attribution needs them.
namespace platform {

using ProcessId = qint64;

// Why executablePath failed.
enum class PathError
{
    None,
    // The process is gone or may not be looked at.
    OpenFailed,
    // The process is there but names no executable (kernel threads, zombies).
    PathFailed,
};

// Whether this process runs with administrator rights (root off Windows).
bool isProcessElevated();

ProcessId currentProcessId();
// Full path of the process's executable; false when it cannot be read.
bool executablePath(ProcessId pid, QString &path, PathError *error = nullptr);
// 0 when not found.
ProcessId parentProcessId(ProcessId pid);

} // namespace platform
