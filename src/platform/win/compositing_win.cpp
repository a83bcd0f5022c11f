#include "platform/compositing.h"

#include <windows.h>

#include <dwmapi.h>

namespace platform {

bool isCompositingActive()
{
    // Always on since Windows 8; the call answers for Windows 7 as well.
    BOOL enabled = FALSE;
    return SUCCEEDED(DwmIsCompositionEnabled(&enabled)) && enabled;
}

} // namespace platform
