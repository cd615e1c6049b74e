#pragma once

#include <string>

namespace VESK::Host
{

/// What every verb takes.
struct GlobalOptions {
    std::string config; ///< path of the configuration; empty: its usual place
    std::string module; ///< path of the handler module; empty: look for it
};

} // namespace VESK::Host
