#include "common/processflags.h"

bool isAutoStart = false;
bool isSchTask = false;
qint64 applicationPid = 0;
