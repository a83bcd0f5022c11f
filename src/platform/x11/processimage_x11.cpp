#include "platform/processimage.h"

#include <unistd.h>

namespace platform {

void reloadProcess(char *argv[])
{
    execv("/proc/self/exe", argv);
}

} // namespace platform
