#include "host/progress.h"

namespace VESK::Host
{

namespace
{

constexpr int highestPercent = 99;

} // namespace

QString phaseName(Phase phase)
{
    switch (phase) {
    case Phase::Hashing:
        return QStringLiteral("hashing");
    case Phase::Waiting:
        return QStringLiteral("waiting for the server");
    case Phase::Sending:
        return QStringLiteral("sending");
    case Phase::Receiving:
        return QStringLiteral("receiving");
    case Phase::Verifying:
        return QStringLiteral("verifying");
    }
    return QString();
}

namespace
{

// The handler writes the position of what is here already, asks, and learns the size from the answer.
Phase downloadPhase(const CounterReading &reading)
{
    if (reading.done < 0)
        return Phase::Hashing;
    if (reading.total < 0)
        return Phase::Waiting;
    return reading.done < reading.total ? Phase::Receiving : Phase::Verifying;
}

} // namespace

bool isMoving(Phase phase)
{
    return phase == Phase::Sending || phase == Phase::Receiving;
}

Phase phaseOf(const CounterReading &reading)
{
    if (reading.direction == Direction::None)
        return Phase::Waiting;
    if (reading.direction == Direction::Down)
        return downloadPhase(reading);
    if (reading.total < 0)
        return Phase::Hashing;
    if (reading.done < 0)
        return Phase::Waiting;
    return reading.done < reading.total || reading.unsent > 0 ? Phase::Sending : Phase::Verifying;
}

ProgressView ProgressMeter::update(qint64 nowMs, const CounterReading &reading)
{
    ProgressView view;
    view.phase = phaseOf(reading);
    view.total = qMax<qint64>(0, reading.total);
    if (reading.done >= 0) {
        // The first reading is the resume position, of which nothing is on its way yet.
        const qint64 arrived =
            m_arrived < 0 ? reading.done - reading.unsent : qMax(m_arrived, reading.done - reading.unsent);
        if (m_arrived < 0)
            m_begin = qMax<qint64>(0, arrived);
        if (arrived > m_arrived)
            m_lastMoveMs = nowMs;
        m_arrived = qMax<qint64>(0, arrived);
        m_pace.sample(nowMs, m_arrived);
    }
    if (!isMoving(view.phase))
        m_lastMoveMs = nowMs;
    view.arrived = qMax<qint64>(0, m_arrived);
    view.moved = qMax<qint64>(0, view.arrived - m_begin);
    if (view.total > 0)
        m_percent =
            qMax(m_percent, static_cast<int>(qMin<qint64>(highestPercent, view.arrived * 100 / view.total)));
    view.percent = m_percent;
    view.bytesPerSecond = m_pace.perSecond();
    if (isMoving(view.phase) && view.bytesPerSecond > 0)
        view.secondsLeft = static_cast<double>(view.total - view.arrived) / view.bytesPerSecond;
    return view;
}

} // namespace VESK::Host
