#include "platform/mutedstderr.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>

namespace platform {

MutedStandardError::MutedStandardError()
{
    std::fflush(stderr);
    const int nowhere = _open("NUL", _O_WRONLY);
    if (nowhere < 0)
        return;
    saved = _dup(_fileno(stderr));
    if (saved >= 0)
        _dup2(nowhere, _fileno(stderr));
    _close(nowhere);
}

MutedStandardError::~MutedStandardError()
{
    if (saved < 0)
        return;
    std::fflush(stderr);
    _dup2(saved, _fileno(stderr));
    _close(saved);
}

} // namespace platform
