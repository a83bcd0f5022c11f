#pragma once

#include <QString>

// The one folder everything the program keeps lives in: config/, the
// database, the log, temp/ and crash dumps. Beside the executable for a
// portable copy; the per-user application data folder when that is not
// writable. Decided once, on the first call.
QString dataDirectory();
// Whether dataDirectory() fell back on the per-user folder.
bool dataDirectoryIsFallback();
