#pragma once

#include <cstdint>
#include <optional>

namespace VESK
{

class Operation;

/// The two progress counters of a client's host, given as decimal addresses under `total` and `offset`.
/// The host owns them and reads them from other threads while the task runs.
struct HostCounters {
    std::int64_t *total; ///< size of the file in bytes
    std::int64_t *done; ///< position of the transfer in bytes; UDT advances it in place
};

/// The counters of the running task; nothing, after a log line, when an address is missing.
std::optional<HostCounters> readHostCounters(const Operation &op);

/// The same, but asks for both addresses before it misses one: in a download, all questions come first.
std::optional<HostCounters> readBothHostCounters(const Operation &op);

/// Writes a counter so that a host's thread may read it at the same time.
void publish(std::int64_t *counter, std::int64_t value);

} // namespace VESK
