#pragma once

#include "platform/processinfo.h"

#include <QPixmap>

// The desktop's windows, as far as capture and paste need them. Window
// handles are opaque numbers; 0 means none.
namespace platform {

using WindowHandle = quint64;

// The window that owns the clipboard.
WindowHandle clipboardOwnerWindow();
// The window in front.
WindowHandle foregroundWindow();
// The process behind a window; 0 when it cannot be told.
ProcessId windowProcessId(WindowHandle window);

} // namespace platform
