#include "host/client/connection_tuner.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

constexpr int mostAtFirst = 16; // pays for small files at once, and is no burden for large ones
constexpr qint64 smallFile = 64 << 10; // bytes; of such ones each needs little but round trips
constexpr int waitingPerConnection = 4; // tasks, for the first number
constexpr qint64 shortestMeasureMs = 100;
constexpr qint64 longestMeasureMs = 1000;
constexpr qint64 connectLimitMs = 1000; // connections that need longer are not waited for
constexpr qint64 holdMs = 10000; // after a growth that did not pay
constexpr qint64 ceilingMs = 30000; // a server that was full is asked again after this
constexpr qint64 lostMs = 2000; // before one that was lost is made again beside others
constexpr double worthIt = 1.15; // gain in throughput for which more connections are kept
constexpr double goodGain = 2.5; // of a fourfold number: then fourfold again
constexpr double taskWeight = 64 << 10; // bytes; what a task counts beside its contents

double score(const ConnectionTuner::Reading &from, const ConnectionTuner::Reading &to)
{
    const double seconds = static_cast<double>(std::max<qint64>(1, to.nowMs - from.nowMs)) / 1000;
    const double work =
        static_cast<double>(to.bytes - from.bytes) + taskWeight * static_cast<double>(to.tasks - from.tasks);
    return work / seconds;
}

} // namespace

ConnectionTuner::ConnectionTuner(int fixed)
    : m_fixed(std::min(fixed, most))
{
}

int ConnectionTuner::limit(const Reading &reading) const
{
    const int asked = m_fixed > 0 ? m_fixed : most;
    const int ceiling = reading.nowMs < m_ceilingUntilMs ? m_ceiling : most;
    return std::max(1, std::min({asked, ceiling, std::max(1, reading.affordable)}));
}

int ConnectionTuner::update(const Reading &reading)
{
    if (reading.connected == 0)
        return std::min(m_wanted, limit(reading)); // nothing is known yet, or all are away
    if (m_fixed > 0) {
        m_wanted = limit(reading);
        return m_wanted;
    }
    if (reading.losses > m_lossesSeen) {
        m_lossesSeen = reading.losses;
        m_isGrowing = false;
        m_holdUntilMs = reading.nowMs + holdMs;
        setWanted(std::max(1, m_wanted * 3 / 4), reading);
    }
    if (m_wanted > limit(reading))
        setWanted(limit(reading), reading);
    if (m_isMeasuring)
        evaluate(reading);
    else
        begin(reading);
    return m_wanted;
}

int ConnectionTuner::firstNumber(const Reading &reading) const
{
    const int useful = (reading.waiting + waitingPerConnection - 1) / waitingPerConnection + 1;
    const bool areSmall = reading.waitingBytes >= 0 && reading.waitingBytes <= smallFile * reading.waiting;
    return std::min({useful, areSmall ? most : mostAtFirst, limit(reading)});
}

// The first number, then measurements of it once its connections stand.
void ConnectionTuner::begin(const Reading &reading)
{
    if (m_wanted == 1 && m_isGrowing && reading.waiting > 0 && m_scoreBefore == 0) {
        m_before = 1;
        m_scoreBefore = 1; // any work is more
        setWanted(firstNumber(reading), reading);
    }
    const bool allStand = reading.connected >= m_wanted || reading.nowMs - m_changedMs >= connectLimitMs;
    if (!allStand)
        return;
    m_isMeasuring = true;
    m_start = reading;
}

void ConnectionTuner::evaluate(const Reading &reading)
{
    const qint64 elapsedMs = reading.nowMs - m_start.nowMs;
    const bool isTelling = elapsedMs >= shortestMeasureMs && reading.tasks - m_start.tasks >= m_wanted;
    if (!isTelling && elapsedMs < longestMeasureMs)
        return;
    m_isMeasuring = false;
    const double now = score(m_start, reading);
    if (m_isGrowing && now < m_scoreBefore * worthIt) {
        m_isGrowing = false;
        m_holdUntilMs = reading.nowMs + holdMs;
        setWanted(m_before, reading);
        return;
    }
    // Without tasks that wait, more connections would have nothing to do.
    if (reading.waiting == 0 || reading.nowMs < m_holdUntilMs || m_wanted >= limit(reading))
        return;
    // Large files tell little in so short a time.
    const bool isSteep =
        m_isGrowing && now >= m_scoreBefore * goodGain && reading.tasks - m_start.tasks >= m_wanted;
    m_isGrowing = true;
    m_before = m_wanted;
    m_scoreBefore = now;
    setWanted(std::min(m_wanted * (isSteep ? 4 : 2), limit(reading)), reading);
}

void ConnectionTuner::setWanted(int wanted, const Reading &reading)
{
    m_wanted = wanted;
    m_changedMs = reading.nowMs;
    m_isMeasuring = false;
}

void ConnectionTuner::refused(int held, qint64 nowMs)
{
    hold(held, nowMs + ceilingMs);
}

void ConnectionTuner::lost(int held, qint64 nowMs)
{
    hold(held, nowMs + lostMs);
}

void ConnectionTuner::hold(int held, qint64 untilMs)
{
    m_ceiling = std::max(1, held);
    m_ceilingUntilMs = untilMs;
    m_wanted = std::min(m_wanted, m_ceiling);
    m_isMeasuring = false;
    m_isGrowing = false;
    m_holdUntilMs = untilMs;
}

} // namespace VESK::Host
