#pragma once

#include <QtGlobal>

class QSettings;

// The limits and the retention of the history, with their defaults. The
// capture and the model read them through here; seedDefaults writes every
// missing key once at start, so the file shows all of them.
namespace HistorySettings {
void seedDefaults(QSettings *settings);

uint singleSizeLimitMb();
uint totalSizeLimitMb();
uint totalCntLimit();
bool exceedLimitNotify();
qint64 autoDeleteTime();
} // namespace HistorySettings
