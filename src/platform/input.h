#pragma once

#include "platform/windowsystem.h"

// Putting another program in front and typing into it, for the paste; and
// the state of the keyboard.
namespace platform {

// Asks the window system to put `window` in front. Returns once the request
// is sent; whether and when it is honoured is up to the window system.
bool requestActivation(WindowHandle window);
// Whether `window` is the one in front now.
bool isActiveWindow(WindowHandle window);
// Whether activation is asynchronous here, so that keys must wait until the
// target is in front.
bool activationIsAsynchronous();
// Ctrl+V to whatever window has the keyboard focus.
bool sendPasteKeys();
// Whether a Ctrl key is held down now, wherever the keyboard focus is; false
// when that cannot be told.
bool isControlKeyDown();

} // namespace platform
