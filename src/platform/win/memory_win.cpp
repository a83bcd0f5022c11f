#include "platform/memory.h"

#include <malloc.h>

namespace platform {

void releaseFreedMemory()
{
    _heapmin();
}

} // namespace platform
