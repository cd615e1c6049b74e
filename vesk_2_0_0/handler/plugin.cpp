#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

// The two functions through which a host gets and returns handlers, looked up by name.

extern "C" Q_DECL_EXPORT VESK::VeskBase *create();
extern "C" Q_DECL_EXPORT void destroy(VESK::VeskBase *handler);

/// A new handler, owned by the caller until it goes to `destroy`. Callable from any thread.
VESK::VeskBase *create()
{
    return new VESK::VeskHandler2_0_0;
}

/// Deletes a handler that `create` made; null is ignored.
void destroy(VESK::VeskBase *handler)
{
    delete handler;
}
