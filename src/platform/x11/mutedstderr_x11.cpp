#include "platform/mutedstderr.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

MutedStandardError::MutedStandardError()
{
    std::fflush(stderr);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0)
        return;
    saved = dup(STDERR_FILENO);
    if (saved >= 0)
        dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

MutedStandardError::~MutedStandardError()
{
    if (saved < 0)
        return;
    std::fflush(stderr);
    dup2(saved, STDERR_FILENO);
    close(saved);
}

} // namespace platform
