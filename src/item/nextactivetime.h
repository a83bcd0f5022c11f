#pragma once

#include <QtGlobal>

// A clock for user actions that never repeats a value: two calls in the same
// millisecond still rise, and a clock that jumps back by a second or more is
// followed at once.
qulonglong nextActiveTime();
