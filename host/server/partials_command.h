#pragma once

#include <CLI/App.hpp>

namespace VESK::Host
{

/// Adds `vesk partials` to the command line; its callback runs it and sets `exitCode`.
void addPartialsCommand(CLI::App &app, int &exitCode);

} // namespace VESK::Host
