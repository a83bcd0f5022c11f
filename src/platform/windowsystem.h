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
// Brings the time stamp that this application's clipboard reads carry up to
// the present. X owners refuse a read stamped before they took the
// clipboard, and the stamp otherwise stays at the last event handled here,
// which lags behind while changes arrive faster than they are read. False
// when the present time cannot be had.
bool advanceClipboardTime();

} // namespace platform
