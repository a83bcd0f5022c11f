#pragma once

#include <QtGlobal>

// Set by main before anything else runs; read-only afterwards.
extern bool isAutoStart;   // the command line held "--AutoStart"
extern bool isSchTask;     // the command line held "--schtask"
extern qint64 applicationPid;
