#include "host/pace.h"

namespace VESK::Host
{

namespace
{

constexpr qint64 windowMs = 5000;

} // namespace

void Pace::sample(qint64 nowMs, qint64 value)
{
    m_samples.push_back({nowMs, value});
    while (m_samples.size() > 2 && nowMs - m_samples.front().timeMs > windowMs)
        m_samples.pop_front();
}

double Pace::perSecond() const
{
    if (m_samples.size() < 2)
        return 0;
    const Sample &first = m_samples.front();
    const Sample &last = m_samples.back();
    const qint64 elapsedMs = last.timeMs - first.timeMs;
    return elapsedMs > 0
        ? static_cast<double>(last.value - first.value) * 1000 / static_cast<double>(elapsedMs)
        : 0;
}

} // namespace VESK::Host
