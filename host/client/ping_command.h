#pragma once

#include "host/global_options.h"

#include <CLI/App.hpp>

namespace VESK::Host
{

/// Adds `vesk ping` to the command line; its callback runs it and sets `exitCode`.
void addPingCommand(CLI::App &app, const GlobalOptions &global, int &exitCode);

} // namespace VESK::Host
