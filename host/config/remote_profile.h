#pragma once

#include "host/config/config_file.h"

#include <optional>
#include <string>
#include <vector>

namespace VESK::Host
{

/// What a [remote.NAME] says about the place itself. Its other keys are options of the client.
struct RemoteProfile {
    std::string name;
    std::string host; ///< without brackets
    std::string share; ///< may be empty: then it is part of each address
    std::string path; ///< below the share; may be empty
};

/// True for the keys of a profile that are no options.
bool isPlaceKey(const std::string &key);

/// True when a profile can bear the name: it can stand before the colon of an address.
bool isProfileName(const std::string &name);

RemoteProfile profileOf(const std::string &name, const ConfigSection &section);

/// An address that begins with the name of a profile, taken apart.
struct ProfileAddress {
    std::string profile; ///< its name
    std::string user; ///< empty when not given
    std::string rest; ///< after the colon
};

/// Reads `[USER@]NAME:[PATH]`, and NAME alone, for a NAME among the remotes; nothing for any other text.
std::optional<ProfileAddress> parseProfileAddress(const std::string &text, const ConfigFile &file);

/// The same place as `[USER@]HOST:SHARE[/PATH]`; without a share when neither the profile nor the address
/// names one.
std::string expandedAddress(const ProfileAddress &address, const RemoteProfile &profile);

} // namespace VESK::Host
