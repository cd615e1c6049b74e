#pragma once

#include "host/config/configured_app.h"

namespace VESK::Host
{

/// Adds `vesk serve` to the command line; its callback runs it and sets `exitCode`. `build` makes the whole
/// command line, to be read again when a running server is told to.
void addServeCommand(CLI::App &app, const GlobalOptions &global, int &exitCode, const TreeBuilder &build);

} // namespace VESK::Host
