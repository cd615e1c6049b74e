#pragma once

#include "host/server/server_settings.h"
#include "transport/socket_address.h"

#include <QtCore/QString>

namespace VESK::Host
{

/// What a server tells the person who started it.
struct Announcement {
    SocketAddress address; ///< where it listens, the port filled in
    QString tokenFile; ///< empty when no token is asked for
    bool tokenIsNew = false;
};

/// Whole lines: what is served and where, the line to paste on another machine, how the token gets there, and
/// that data is not encrypted.
QString announcementText(const ServerSettings &settings, const Announcement &announcement);

} // namespace VESK::Host
