#pragma once

#include "host/global_options.h"

#include <CLI/App.hpp>

namespace VESK::Host
{

/// Adds the verb `version`, which prints the versions of the program, its module and its libraries.
void addVersionCommand(CLI::App &app, const GlobalOptions &global, int &exitCode);

} // namespace VESK::Host
