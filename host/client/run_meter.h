#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QtGlobal>

#include <atomic>

namespace VESK::Host
{

/// What all tasks of a run have moved so far, those under way included. Any thread.
class RunMeter
{
public:
    RunMeter() { m_timer.start(); }

    qint64 bytes() const { return m_bytes; }
    qint64 tasks() const { return m_tasks; } ///< that have ended
    qint64 losses() const { return m_losses; } ///< of connections
    qint64 elapsedMs() const { return m_timer.elapsed(); } ///< since the run began

    void addTask() { ++m_tasks; }
    void addLoss() { ++m_losses; }

    /// The part of one task in it.
    class Share
    {
    public:
        explicit Share(RunMeter &meter)
            : m_meter(meter)
        {
        }
        /// The task has moved so many bytes by now; fewer than before change nothing. Any thread.
        void raiseTo(qint64 moved)
        {
            qint64 before = m_moved;
            while (moved > before) {
                if (!m_moved.compare_exchange_weak(before, moved))
                    continue;
                m_meter.m_bytes += moved - before;
                return;
            }
        }

    private:
        RunMeter &m_meter;
        std::atomic<qint64> m_moved{0};
    };

private:
    QElapsedTimer m_timer;
    std::atomic<qint64> m_bytes{0};
    std::atomic<qint64> m_tasks{0};
    std::atomic<qint64> m_losses{0};
};

} // namespace VESK::Host
