#pragma once

#include <CLI/App.hpp>

namespace VESK::Host
{

/// For options that are a time: turns "500ms", "30s", "5m", "2h" or a number without a unit, which counts
/// seconds, into the number of seconds. Goes before checks of the range: `->transform(...)->check(...)`.
CLI::Validator durationInSeconds();

} // namespace VESK::Host
