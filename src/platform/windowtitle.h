#pragma once

#include "platform/windowsystem.h"

#include <QString>

namespace platform {

// The title a window shows; empty when it has none or is gone.
QString windowTitle(WindowHandle window);

} // namespace platform
