#pragma once

#include "host/config/configured_app.h"

namespace VESK::Host
{

/// Adds the verb `config` with `show` and `check`. `build` makes the tree whose settings are meant.
void addConfigCommand(CLI::App &app, const GlobalOptions &global, int &exitCode, const TreeBuilder &build);

} // namespace VESK::Host
