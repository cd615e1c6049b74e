#pragma once

#include "host/completion/command_list.h"

#include <string>
#include <vector>

namespace VESK::Host
{

// Each returns a script that makes its shell complete the program's verbs, options, values and files.

/// For `source`, or a file `vesk` where bash-completion looks.
std::string bashScript(const std::vector<CompletedCommand> &commands);
/// For a file `_vesk` in a directory of `fpath`.
std::string zshScript(const std::vector<CompletedCommand> &commands);
/// For a file `vesk.fish`.
std::string fishScript(const std::vector<CompletedCommand> &commands);

} // namespace VESK::Host
