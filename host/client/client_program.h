#pragma once

#include "host/client/client_options.h"
#include "host/exit_code.h"
#include "host/global_options.h"

#include <functional>

namespace VESK::Host
{

/// Runs a verb of the client: loads the module, starts the transport, minds SIGINT and SIGTERM, and calls
/// `work` with what it needs. Returns the exit status, which is that of `work` unless it was not called.
int runClient(const QString &verb, const ClientOptions &options, const GlobalOptions &global,
              const std::function<ExitCode(const ClientContext &)> &work);

} // namespace VESK::Host
