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

} // namespace

std::optional<HostCounters> readHostCounters(const Operation &op)
{
    std::int64_t *const total = addressIn(op, Key::total);
    if (total == nullptr) {
        op.error("%1: get total failed.");
        return std::nullopt;
    }
    std::int64_t *const done = addressIn(op, Key::offset);
    if (done == nullptr) {
        op.error("%1: get offset failed.");
        return std::nullopt;
    }
    return HostCounters{total, done};
}

void publish(std::int64_t *counter, std::int64_t value)
{
    __atomic_store_n(counter, value, __ATOMIC_RELAXED);
}

} // namespace VESK
