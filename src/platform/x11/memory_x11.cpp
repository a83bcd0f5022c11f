#include "platform/memory.h"

#include <malloc.h>

namespace platform {

void releaseFreedMemory()
{
    // glibc keeps freed blocks for reuse; trimming returns whole pages.
    malloc_trim(0);
}

} // namespace platform
