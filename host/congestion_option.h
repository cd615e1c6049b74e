#pragma once

#include "transport/udt_socket.h"

#include <CLI/App.hpp>

namespace VESK::Host
{

/// Adds --congestion, which both ends take: each paces what it sends itself.
CLI::Option *addCongestionOption(CLI::App &command, Congestion &congestion);

} // namespace VESK::Host
