#pragma once

namespace platform {

// Hands memory that the process has freed back to the system, so that a
// long-lived helper that just let go of a large data set stays small.
void releaseFreedMemory();

} // namespace platform
