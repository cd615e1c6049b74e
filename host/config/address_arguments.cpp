#include "host/config/address_arguments.h"

#include "host/address.h"
#include "host/config/remote_profile.h"
#include "host/config/setting_value.h"
#include "host/text.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

bool hasOptions(const ConfigSection &section)
{
    return std::any_of(section.values.begin(), section.values.end(),
                       [](const auto &entry) { return !isPlaceKey(entry.first); });
}

// These take a path; others, as ping, can do with the name of a server.
bool movesOrNamesFiles(const CLI::App &verb)
{
    const std::string &name = verb.get_name();
    return name == "put" || name == "get" || name == "ls" || name == "mkdir";
}

} // namespace

AddressArguments::AddressArguments(const CLI::App &verb, const ConfigFile &file)
    : m_file(file)
    , m_takesBareNames(!movesOrNamesFiles(verb))
{
    for (const CLI::Option *option : verb.get_options()) {
        if (option->nonpositional() || option->count() == 0)
            continue;
        m_option = const_cast<CLI::Option *>(option); // the tree belongs to the caller, who parses it
        m_arguments = option->results();
        break;
    }
    m_end = m_arguments.size();
    if (verb.get_name() == "put" && m_end > 0)
        m_begin = m_end - 1;
    if (verb.get_name() == "get" && m_end > 0)
        --m_end;
}

QString AddressArguments::expand()
{
    const std::vector<std::string> before = m_arguments;
    for (std::size_t i = m_begin; i < m_end; ++i) {
        const QString problem = take(&m_arguments[i]);
        if (!problem.isEmpty())
            return problem;
    }
    if (m_arguments == before)
        return {};
    if (m_hasForeign && hasOptions(m_file.remotes.at(m_remote)))
        return QStringLiteral("the remote %1 has options of its own; use a command for each place")
            .arg(escaped(m_remote));
    return assign(*m_option, m_arguments);
}

QString AddressArguments::take(std::string *argument)
{
    const bool isBare = argument->find(':') == std::string::npos;
    const std::optional<ProfileAddress> address =
        isBare && !m_takesBareNames ? std::nullopt : parseProfileAddress(*argument, m_file);
    if (!address) {
        m_hasForeign = true;
        return {};
    }
    const RemoteProfile profile = profileOf(address->profile, m_file.remotes.at(address->profile));
    *argument = expandedAddress(*address, profile);
    return takeProfile(address->profile);
}

QString AddressArguments::takeProfile(const std::string &name)
{
    if (m_remote.empty() || m_remote == name) {
        m_remote = name;
        return {};
    }
    if (!hasOptions(m_file.remotes.at(m_remote)) && !hasOptions(m_file.remotes.at(name)))
        return {};
    return QStringLiteral("the remotes %1 and %2 have options of their own; use a command for each place")
        .arg(escaped(m_remote), escaped(name));
}

void AddressArguments::dropWhatIsStated(std::vector<Setting> *settings) const
{
    bool statesUser = false;
    bool statesPort = false;
    for (std::size_t i = m_begin; i < m_end; ++i) {
        QString error;
        const auto address = parseRemoteAddress(QString::fromStdString(m_arguments[i]), &error);
        statesUser = statesUser || (address && !address->user.isEmpty());
        statesPort = statesPort || (address && address->port != 0);
    }
    const auto isStated = [&](const Setting &setting) {
        return (statesUser && setting.key == "user") || (statesPort && setting.key == "port");
    };
    settings->erase(std::remove_if(settings->begin(), settings->end(), isStated), settings->end());
}

} // namespace VESK::Host
