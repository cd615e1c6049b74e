#pragma once

#include "host/address.h"
#include "host/client/ping_sample.h"
#include "host/doctor/finding.h"
#include "host/hello/client_hello.h"

#include <vector>

namespace VESK::Host
{

/// What some pings of a server say of the line and of its clock; at least one.
Finding judgeDelay(const std::vector<PingSample> &samples);
Finding judgeClock(const std::vector<PingSample> &samples);

/// Says hello on a new connection, and asks the server for the time. For one thread. Nothing for a visitor
/// without a module.
std::vector<Finding> checkHello(UDTSOCKET socket, const Visitor &visitor, const RemoteAddress &remote);

} // namespace VESK::Host
