#include "host/client/rate_budget.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

constexpr qint64 smallestPart = 16; // of the limit

} // namespace

qint64 RateBudget::take(int expected)
{
    if (m_limit <= 0)
        return 0;
    const std::lock_guard<std::mutex> lock(m_mutex);
    const int without = std::max(1, expected - m_holders); // tasks that have no part yet
    const qint64 floor = std::max<qint64>(1, m_limit / smallestPart);
    const qint64 part = std::max(floor, (m_limit - m_held) / without);
    m_held += part;
    ++m_holders;
    return part;
}

void RateBudget::giveBack(qint64 part)
{
    if (m_limit <= 0)
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_held -= part;
    --m_holders;
}

} // namespace VESK::Host
