#include "platform/windowsystem.h"

#include <windows.h>

namespace platform {

namespace {

WindowHandle toHandle(HWND window)
{
    return static_cast<WindowHandle>(reinterpret_cast<quintptr>(window));
}

} // namespace

WindowHandle clipboardOwnerWindow()
{
    return toHandle(GetClipboardOwner());
}

WindowHandle foregroundWindow()
{
    return toHandle(GetForegroundWindow());
}

ProcessId windowProcessId(WindowHandle window)
{
    if (window == 0)
        return 0;
    DWORD pid = 0;
    GetWindowThreadProcessId(reinterpret_cast<HWND>(static_cast<quintptr>(window)), &pid);
    return static_cast<ProcessId>(pid);
}

// Windows clipboard reads carry no time stamp.
bool advanceClipboardTime()
{
    return true;
}

} // namespace platform
