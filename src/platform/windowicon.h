#pragma once

#include "platform/windowsystem.h"

#include <QList>
#include <QPixmap>
#include <QSize>
#include <QString>

// The icon of a program, for attributing a copy to it.
namespace platform {

// The size an attributed icon is wanted at.
constexpr int kProgramIconSize = 32;

// The icon of about 32 px of the program at `exePath`, whose window (or one
// of them) is `window`. Remembered per path, so that a program met before
// costs a hash lookup. On failure `failure` says why, for the log.
bool programIcon(WindowHandle window, const QString &exePath, QPixmap &pixmap, QString &failure);
// The same without the memory: always asks the system.
bool readProgramIcon(WindowHandle window, const QString &exePath, QPixmap &pixmap, QString &failure);
// Forgets every remembered icon.
void clearProgramIconCache();

// Index of the width nearest to `target`; of two equally near the larger
// wins. -1 for an empty list.
int nearestIconWidth(const QList<int> &widths, int target = kProgramIconSize);

} // namespace platform
