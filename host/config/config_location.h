#pragma once

#include "host/config/config_file.h"

#include <QtCore/QString>

#include <optional>
#include <string>

namespace VESK::Host
{

/// The directory for this program's files of its user: $XDG_CONFIG_HOME/vesk, or ~/.config/vesk, where ~ is
/// the home directory of the account when HOME is not set. Need not be there.
QString configDirectory();

/// Where the configuration is: `given` (from --config) when not empty, else what VESK_CONFIG names, else
/// vesk.toml in configDirectory().
QString configPath(const std::string &given);

/// Reads the configuration. A file that is not at its usual place is as good as an empty one (its path is
/// empty then); one that was named must be there. Nothing on failure, with a sentence in `error`.
std::optional<ConfigFile> readConfiguration(const std::string &given, QString *error);

} // namespace VESK::Host
