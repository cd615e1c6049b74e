#pragma once

#include "host/client/client_context.h"
#include "host/errors.h"
#include "host/hello/client_hello.h"

namespace VESK::Host
{

/// A connection on which the server said no, or nothing.
struct GreetingFailure {
    Failure failure;
    bool mayRepeat = false; ///< another attempt may end better
    bool isFull = false; ///< the server takes nobody now: it has as many as it takes, or is about to end
};

/// Says hello on a new connection to `remote`, before its first task. Nothing on failure, with the reason in
/// `failure`; the connection can only be closed then, and an interruption has closed it already, unless it
/// came before and what it left is being settled. Any thread.
std::optional<Welcome> greet(UDTSOCKET socket, const ClientContext &context, const RemoteAddress &remote,
                             GreetingFailure *failure);

} // namespace VESK::Host
