#pragma once

#include <CLI/App.hpp>

#include <string>

namespace VESK::Host
{

/// The verbs and all their options, in the language of scdoc, for vesk(1).
std::string manualOfOptions(const CLI::App &root);

/// The sections of the configuration with their keys and variables, in the language of scdoc, for
/// vesk.toml(5).
std::string manualOfKeys(const CLI::App &root);

} // namespace VESK::Host
