#pragma once

#include "host/server/share.h"

#include <QtCore/QString>

namespace VESK::Host
{

/// What a server gives to every task.
struct ServerSettings {
    Share share;
    int fileMode = 0640;
    int dirMode = 0750;
    int maxConnections = 64; ///< each may take the transport's buffers
};

} // namespace VESK::Host
