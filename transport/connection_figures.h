#pragma once

#include <QtCore/QtGlobal>

#include <udt/udt.h>

namespace VESK
{

/// What the library has measured of a connection. Neither waits for a bulk call; any thread.

/// The time of a packet to the peer and of the answer back, in milliseconds; -1 when the socket is closed.
double roundTripMs(UDTSOCKET socket);

/// Packets that this end sent again so far; -1 when the socket is closed.
qint64 repeatedPackets(UDTSOCKET socket);

} // namespace VESK
