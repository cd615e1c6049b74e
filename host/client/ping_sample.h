#pragma once

#include "vesk_base/message_channel.h"

#include <optional>

namespace VESK::Host
{

/// One message there and back.
struct PingSample {
    double roundTripMs = 0;
    double clockDifferenceMs =
        0; ///< how far the server's clock is ahead, the way back taken as half the time
};

/// Asks a server that has been greeted. Nothing when it does not answer, within the limits of the channel.
std::optional<PingSample> takeSample(MessageChannel &channel);

} // namespace VESK::Host
