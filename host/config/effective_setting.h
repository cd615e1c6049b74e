#pragma once

#include "host/config/config_file.h"
#include "host/config/option_tree.h"

#include <QtCore/QString>

#include <string>
#include <vector>

namespace VESK::Host
{

/// Where the value of a setting comes from. Each beats those after it.
enum class Origin { CommandLine, Environment, Remote, Section, Default };

/// A value that holds, and where it comes from.
struct EffectiveSetting {
    Setting setting;
    Origin origin = Origin::Default;
    int line = 0; ///< of the configuration, for Remote and Section
    std::vector<std::string> values; ///< none for Origin::CommandLine and for Origin::Default
    QString problem; ///< why what was found is no value; `values` is empty then
};

/// Looks a setting up: environment, then the profile of the remote named `remote` (empty: none), then the
/// setting's section. An empty variable is as good as none. What stands on the command line wins.
EffectiveSetting lookUp(const Setting &setting, const ConfigFile &file, const std::string &remote);

/// "VESK_PORT", "vesk.toml:3", "default".
QString originText(const EffectiveSetting &effective, const ConfigFile &file);

} // namespace VESK::Host
