#pragma once

#include "host/config/config_file.h"

#include <CLI/App.hpp>

#include <vector>

namespace VESK::Host
{

/// What is wrong with a configuration: its form, keys and sections that nobody knows, values that an option
/// does not take, remotes without a host. In the order of lines; empty when all is well.
///
/// `scratch` is a command line of its own that is never run: each value is tried on its options, which
/// have values afterwards.
std::vector<ConfigProblem> checkConfig(const ConfigFile &file, CLI::App &scratch);

} // namespace VESK::Host
