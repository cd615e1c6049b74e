#include "host/server/memory.h"

#include <malloc.h>

namespace VESK::Host
{

void limitHeaps()
{
    // It fails for values only that make no sense. NOLINTNEXTLINE(concurrency-mt-unsafe): at the start
    (void)::mallopt(M_ARENA_MAX, 2);
}

void returnFreedMemory()
{
    (void)::malloc_trim(0); // tells whether there was anything
}

} // namespace VESK::Host
