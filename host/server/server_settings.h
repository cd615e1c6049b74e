#pragma once

#include "host/server/share.h"

#include <algorithm>
#include <vector>

namespace VESK::Host
{

/// What a server offers, and how much of it at a time.
struct ServerSettings {
    std::vector<Share> shares; ///< no two of one name
    /// Each may take the transport's buffers. Twice what one client uses at most: those of a client that was
    /// killed count until they are taken for dead, up to a minute, and are not to shut out the next.
    int maxConnections = 128;
    int maxTasksPerUser = 0; ///< connections of one user at a time, each with one task; 0: no limit
    double drainSeconds = 10; ///< for what runs when the server is told to end; 0: it is paused at once
    double partialsMaxAgeSeconds =
        0; ///< partial copies that nobody went on with for so long go; 0: none does

    /// Null when there is none of that name.
    const Share *findShare(const QString &name) const
    {
        const auto found = std::find_if(shares.begin(), shares.end(),
                                        [&](const Share &share) { return share.name == name; });
        return found == shares.end() ? nullptr : &*found;
    }
};

} // namespace VESK::Host
