#pragma once

#include <QKeySequence>
#include <QString>
#include <QtGlobal>

#include "common/autodeleteitem.h"

class QSettings;

// The limits and the retention of the history, with their defaults. The
// capture and the model read them through here; seedDefaults writes every
// missing key once at start, so the file shows all of them.
namespace HistorySettings {
// Keys of the general page.
inline const QString keyAutoStart = QStringLiteral("general-autoStart");
inline const QString keyRunAsAdmin = QStringLiteral("general-runAsAdmin");
inline const QString keyAutoDeleteTime = QStringLiteral("general-autoDeleteTime");
// Keys of the limits page.
inline const QString keySingleSizeLimit = QStringLiteral("limit-singleSizeLimit");
inline const QString keyTotalSizeLimit = QStringLiteral("limit-totalSizeLimit");
inline const QString keyTotalCntLimit = QStringLiteral("limit-totalCntLimit");
inline const QString keyExceedLimitNotify = QStringLiteral("limit-exceedLimitNotify");
// Keys of the shortcut page.
inline const QString keyActiveMainWnd = QStringLiteral("shortcut-activeMainWnd");
inline const QString keyCopyAsPlainText = QStringLiteral("shortcut-copyAsPlainText");

constexpr bool defaultAutoStart = true;
constexpr bool defaultRunAsAdmin = false;
constexpr int defaultAutoDeleteIndex = 2;
constexpr uint defaultSingleSizeLimitMb = 3;
constexpr uint defaultTotalSizeLimitMb = 500;
constexpr uint defaultTotalCntLimit = 10000;
constexpr bool defaultExceedLimitNotify = false;
AutoDeleteItem defaultAutoDeleteItem();
QKeySequence defaultActiveMainWnd();
QKeySequence defaultCopyAsPlainText();

// Writes the default of every key above that `settings` lacks; present
// keys keep their values, whatever they hold.
void seedDefaults(QSettings *settings);

// The getters read the settings of Setting::instance(), and give the
// default when the key is missing, unreadable or Setting is not initialised.
// The limits are returned as stored, without clamping to the page's ranges.
bool autoStart();
bool runAsAdmin();
AutoDeleteItem autoDeleteItem();
uint singleSizeLimitMb();
uint totalSizeLimitMb();
uint totalCntLimit();
bool exceedLimitNotify();
qint64 autoDeleteTime();
QKeySequence activeMainWndShortcut();
QKeySequence copyAsPlainTextShortcut();
} // namespace HistorySettings
