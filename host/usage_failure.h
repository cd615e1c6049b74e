#pragma once

#include "host/errors.h"

#include <CLI/App.hpp>

#include <string>

namespace VESK::Host
{

/// What is wrong with a command line, for a person: which word, and what was probably meant. `root` is the
/// tree that refused it with `error`.
Failure usageFailure(const CLI::App &root, const CLI::ParseError &error);

/// `command` has no verb of this name.
Failure unknownVerb(const CLI::App &command, const std::string &name);

} // namespace VESK::Host
