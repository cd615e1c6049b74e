#include "host/server/memory.h"

#include <malloc.h>

namespace VESK::Host
{

void limitHeaps()
{
    (void)::mallopt(M_ARENA_MAX, 2); // it fails for values only that make no sense
}

void returnFreedMemory()
{
    (void)::malloc_trim(0); // tells whether there was anything
}

} // namespace VESK::Host
