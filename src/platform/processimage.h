#pragma once

namespace platform {

// Runs this program again in the same process, with the same arguments and
// the environment as it is now, so that libraries that read the
// environment when they load see the changes. Returns only where that
// cannot be done; the caller then goes on as it is.
void reloadProcess(char *argv[]);

} // namespace platform
