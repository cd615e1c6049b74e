#pragma once

#include <CLI/App.hpp>

namespace VESK::Host
{

/// For options that are a number of bytes: takes what parseBytes() takes, and leaves it as it is.
CLI::Validator byteCount();

} // namespace VESK::Host
