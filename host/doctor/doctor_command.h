#pragma once

#include "host/global_options.h"

#include <CLI/App.hpp>

namespace VESK::Host
{

/// Adds the verb `doctor`. `exitCode` receives its exit status: 0 when all is well, 1 when something makes
/// transfers slow or some of them fail, 3 when the server cannot be reached.
void addDoctorCommand(CLI::App &app, const GlobalOptions &global, int &exitCode);

} // namespace VESK::Host
