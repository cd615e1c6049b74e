#pragma once

#include <functional>
#include <string>

namespace VESK::Host
{

struct ServeOptions;

/// What every verb takes.
struct GlobalOptions {
    std::string config; ///< path of the configuration; empty: its usual place
    std::string module; ///< path of the handler module; empty: look for it
    /// Where the options of `serve` go instead of being followed; empty: they are followed.
    std::function<void(const ServeOptions &options)> takeServeOptions;
};

} // namespace VESK::Host
