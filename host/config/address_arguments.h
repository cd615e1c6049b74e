#pragma once

#include "host/config/config_file.h"
#include "host/config/option_tree.h"

#include <string>
#include <vector>

namespace VESK::Host
{

/// Those arguments of a verb of the client that name places on servers: of `put` the last, of `get` all
/// but the last, of any other verb all.
class AddressArguments
{
public:
    AddressArguments(const CLI::App &verb, const ConfigFile &file);

    /// Replaces `[USER@]NAME:[PATH]` of a profile by the place it stands for. A sentence that says what is
    /// wrong; empty when all is well.
    [[nodiscard]] QString expand();

    /// The profile that the command is about; empty when no address names one. After expand().
    const std::string &remote() const { return m_remote; }

    /// Removes the user and the port from `settings` where an address states them: it is a part of the
    /// command line, and only an option there beats it.
    void dropWhatIsStated(std::vector<Setting> *settings) const;

private:
    QString take(std::string *argument);
    QString takeProfile(const std::string &name);

    const ConfigFile &m_file;
    const bool m_takesBareNames;
    CLI::Option *m_option = nullptr; // null: the verb has no arguments
    std::vector<std::string> m_arguments;
    std::size_t m_begin = 0; // of the addresses among m_arguments
    std::size_t m_end = 0;
    std::string m_remote;
    bool m_hasForeign = false; // an address that names no profile
};

} // namespace VESK::Host
