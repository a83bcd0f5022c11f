#include "tempappfolder.h"

TempAppFolder::TempAppFolder() : dir(QDir::tempPath() + QStringLiteral("/vorlik-test-XXXXXX")) {}
