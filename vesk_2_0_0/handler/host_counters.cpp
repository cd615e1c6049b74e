#include "vesk_2_0_0/handler/host_counters.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"

namespace VESK
{

namespace
{

std::int64_t *addressIn(const Operation &op, QLatin1String key)
{
    return reinterpret_cast<std::int64_t *>(
        static_cast<std::uintptr_t>(op.param(key, QLatin1String("0")).toULongLong()));
}

/// Nothing, after a log line, when one is missing.
std::optional<HostCounters> checked(const Operation &op, const HostCounters &counters)
{
    if (counters.total == nullptr) {
        op.error("%1: get total failed.");
        return std::nullopt;
    }
    if (counters.done == nullptr) {
        op.error("%1: get offset failed.");
        return std::nullopt;
    }
    return counters;
}

} // namespace

std::optional<HostCounters> readHostCounters(const Operation &op)
{
    HostCounters counters{addressIn(op, Key::total), nullptr};
    if (counters.total != nullptr)
        counters.done = addressIn(op, Key::offset);
    return checked(op, counters);
}

std::optional<HostCounters> readBothHostCounters(const Operation &op)
{
    HostCounters counters{addressIn(op, Key::total), nullptr};
    counters.done = addressIn(op, Key::offset);
    return checked(op, counters);
}

void publish(std::int64_t *counter, std::int64_t value)
{
    __atomic_store_n(counter, value, __ATOMIC_RELAXED);
}

} // namespace VESK
