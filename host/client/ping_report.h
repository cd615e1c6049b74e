#pragma once

#include "host/address.h"
#include "host/client/ping_sample.h"
#include "host/hello/client_hello.h"
#include "transport/socket_address.h"

#include <QtCore/QJsonObject>

#include <vector>

namespace VESK::Host
{

/// What `vesk ping` found out.
struct PingResult {
    SocketAddress address;
    Welcome welcome;
    int packetSize = 0; ///< bytes, agreed by both ends
    std::vector<PingSample> samples; ///< at least one
};

/// The sample that took the least time, whose clock is the most exact.
PingSample fastestSample(const std::vector<PingSample> &samples);
double medianRoundTripMs(const std::vector<PingSample> &samples);

/// Lines for a person, and the fields of the event for a program.
QString pingText(const PingResult &result, const RemoteAddress &remote);
QJsonObject pingFields(const PingResult &result, const RemoteAddress &remote);

} // namespace VESK::Host
