#include "host/connection/handshake_filter.h"

namespace VESK::Host
{

bool attachHandshakeFilter(int)
{
    return true;
}

} // namespace VESK::Host
