#include "platform/windowtitle.h"

#include <windows.h>

namespace platform {

namespace {

// 4096 bytes, as titles are read for the log only.
wchar_t titleBuffer[2048];

} // namespace

QString windowTitle(WindowHandle window)
{
    if (window == 0)
        return QString();
    ZeroMemory(titleBuffer, sizeof(titleBuffer));
    const int length = GetWindowTextW(reinterpret_cast<HWND>(static_cast<quintptr>(window)), titleBuffer,
                                      static_cast<int>(sizeof(titleBuffer) / sizeof(titleBuffer[0])));
    return QString::fromWCharArray(titleBuffer, length > 0 ? length : 0);
}

} // namespace platform
