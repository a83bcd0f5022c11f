#pragma once

#include "platform/processinfo.h"

#include <QPixmap>
#include <QString>

// The program a copy came from: the owner of the clipboard, else the window
// in front. Fills `exePath` when it can; returns true only with an icon.
bool getFrontProcessIcon(QPixmap &pixmap, QString &exePath);
bool getPathByPid(platform::ProcessId pid, QString &path);
platform::ProcessId getParentPid(platform::ProcessId pid);
