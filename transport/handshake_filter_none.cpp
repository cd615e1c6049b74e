#include "transport/handshake_filter.h"

namespace VESK
{

bool attachHandshakeFilter(int)
{
    return true;
}

} // namespace VESK
