#pragma once

#include "host/address.h"
#include "host/errors.h"
#include "transport/connector.h"

namespace VESK::Host
{

/// A connection that could not be made, told to a person.
Failure connectFailure(const ConnectFailure &failure, const RemoteAddress &remote);

} // namespace VESK::Host
