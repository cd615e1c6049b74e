#include "host/config/remote_profile.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

std::string textOf(const ConfigSection &section, const std::string &key)
{
    const auto found = section.values.find(key);
    return found == section.values.end() ? std::string() : found->second.text;
}

std::string joined(const std::string &left, const std::string &right)
{
    return left.empty() || right.empty() ? left + right : left + '/' + right;
}

} // namespace

bool isPlaceKey(const std::string &key)
{
    return key == "host" || key == "share" || key == "path";
}

bool isProfileName(const std::string &name)
{
    return !name.empty() && name.find_first_of(":/@[]") == std::string::npos && name.front() != '-';
}

RemoteProfile profileOf(const std::string &name, const ConfigSection &section)
{
    RemoteProfile profile;
    profile.name = name;
    profile.host = textOf(section, "host");
    profile.share = textOf(section, "share");
    profile.path = textOf(section, "path");
    return profile;
}

std::optional<ProfileAddress> parseProfileAddress(const std::string &text, const ConfigFile &file)
{
    const std::size_t colon = text.find(':');
    const std::string head = text.substr(0, colon);
    const std::size_t at = head.find('@');
    ProfileAddress address;
    address.user = at == std::string::npos ? std::string() : head.substr(0, at);
    address.profile = at == std::string::npos ? head : head.substr(at + 1);
    address.rest = colon == std::string::npos ? std::string() : text.substr(colon + 1);
    const bool isUrl = address.rest.rfind("//", 0) == 0;
    if (isUrl || file.remotes.count(address.profile) == 0)
        return std::nullopt;
    return address;
}

std::string expandedAddress(const ProfileAddress &address, const RemoteProfile &profile)
{
    const bool isIpv6 = profile.host.find(':') != std::string::npos;
    const std::string host = isIpv6 ? '[' + profile.host + ']' : profile.host;
    const std::string user = address.user.empty() ? std::string() : address.user + '@';
    const std::string place = joined(joined(profile.share, profile.path), address.rest);
    return user + host + (place.empty() ? std::string() : ':' + place);
}

} // namespace VESK::Host
