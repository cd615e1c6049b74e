#pragma once

#include "host/global_options.h"

#include <CLI/App.hpp>

namespace VESK::Host
{

/// Adds the verb `completion`, which prints what makes a shell complete this program's command line.
void addCompletionCommand(CLI::App &app, const GlobalOptions &global, int &exitCode);

} // namespace VESK::Host
