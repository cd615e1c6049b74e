#pragma once

#include <atomic>

namespace VESK
{

/// How another thread tells a message in progress to end. Both words may be set from any thread.
struct StopFlags {
    /// The message in progress may go on. `send` and `recv` raise it on entry and end with false when it
    /// is lowered meanwhile.
    std::atomic<bool> active{false};

    /// A stop was asked for at some time. It outlives the call during which it came: later calls still
    /// move the messages that are due, but give up after two seconds without progress.
    std::atomic<bool> stopRequested{false};
};

} // namespace VESK
