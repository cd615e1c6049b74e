#pragma once

#include "host/address.h"
#include "host/errors.h"
#include "host/hello/client_hello.h"

namespace VESK::Host
{

/// A hello that failed, told to a person.
Failure helloFailure(const HelloFailure &failure, const RemoteAddress &remote);

} // namespace VESK::Host
