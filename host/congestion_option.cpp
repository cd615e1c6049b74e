#include "host/congestion_option.h"

#include <map>
#include <string>

namespace VESK::Host
{

CLI::Option *addCongestionOption(CLI::App &command, Congestion &congestion)
{
    const std::map<std::string, Congestion> names{{"vesk", Congestion::Vesk}, {"udt", Congestion::Udt}};
    return command
        .add_option_function<std::string>(
            "--congestion", [&congestion, names](const std::string &name) { congestion = names.at(name); },
            "who paces what is sent: vesk, or udt, the library's own control")
        ->check(CLI::IsMember({"vesk", "udt"}))
        ->default_str("vesk")
        ->type_name("CONTROL");
}

} // namespace VESK::Host
