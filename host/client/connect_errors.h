#pragma once

#include "host/address.h"
#include "host/connection/connector.h"
#include "host/errors.h"

namespace VESK::Host
{

/// A connection that could not be made, told to a person.
Failure connectFailure(const ConnectFailure &failure, const RemoteAddress &remote);

/// A connection that was lost too often. `sentBytes`: what this run got to the server of the file.
Failure lostFailure(const QString &name, qint64 sentBytes);

} // namespace VESK::Host
