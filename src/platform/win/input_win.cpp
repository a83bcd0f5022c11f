#include "platform/input.h"

#include <windows.h>

namespace platform {

namespace {

HWND toHwnd(WindowHandle window)
{
    return reinterpret_cast<HWND>(static_cast<quintptr>(window));
}

// One keyboard INPUT per call, scan code, time and extra info all 0.
bool sendKey(WORD virtualKey, DWORD flags)
{
    INPUT input;
    ZeroMemory(&input, sizeof(input));
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = virtualKey;
    input.ki.wScan = 0;
    input.ki.dwFlags = flags;
    input.ki.time = 0;
    input.ki.dwExtraInfo = 0;
    return SendInput(1, &input, sizeof(INPUT)) == 1;
}

} // namespace

bool requestActivation(WindowHandle window)
{
    if (window == 0)
        return false;
    return SetForegroundWindow(toHwnd(window)) != FALSE;
}

bool isActiveWindow(WindowHandle window)
{
    return window != 0 && GetForegroundWindow() == toHwnd(window);
}

bool activationIsAsynchronous()
{
    // SetForegroundWindow has done its work, or been refused, when it returns.
    return false;
}

bool sendPasteKeys()
{
    // Four separate calls with no pause: Ctrl down, V down, V up, Ctrl up.
    bool sent = sendKey(VK_CONTROL, 0);
    sent = sendKey('V', 0) && sent;
    sent = sendKey('V', KEYEVENTF_KEYUP) && sent;
    sent = sendKey(VK_CONTROL, KEYEVENTF_KEYUP) && sent;
    return sent;
}

bool isControlKeyDown()
{
    // The high bit is the key's state at this moment, not at the last
    // message this thread read.
    return (GetAsyncKeyState(VK_CONTROL) & 0x8000) != 0;
}

} // namespace platform
