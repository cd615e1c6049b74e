#pragma once

#include "host/client/session.h"

#include <QtCore/QSet>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

namespace VESK::Host
{

/// Tasks on their way from who finds them to the sessions that run them: bounded, so that a walk over
/// millions of files does not run ahead. Two tasks for one target are never out at the same time. Any
/// thread.
class JobQueue
{
public:
    using Clock = std::chrono::steady_clock;

    struct Work {
        TaskJob job;
        std::function<void(const TaskEnd &)> ended; ///< called once, on the thread that ran it
        TaskAttempts attempts = {};
        Clock::time_point due = {}; ///< not taken before
    };

    explicit JobQueue(std::size_t capacity)
        : m_capacity(capacity)
    {
    }

    /// Waits while the queue is full, and while a task for the same target is in it or out.
    void push(Work work);

    /// The next task that is due, which is out from now on until `done` or `putBack`. Waits for one; nothing
    /// when the queue is closed and no task is in it or out.
    std::optional<Work> take();

    void done(const Work &work);
    /// Returns a task that has not ended; once it is due, it is the next to be taken.
    void putBack(Work work);

    /// From now on all tasks are due.
    void hurry();

    /// No task will be pushed any more.
    void close();

    /// Waits until no task is in it or out.
    void waitUntilIdle();

    std::size_t waiting() const;
    /// Bytes of the files that wait; -1 when one's size is not known.
    qint64 waitingBytes() const;
    std::size_t out() const;

private:
    using Works = std::deque<Work>;

    bool isIdle() const { return m_works.empty() && m_out == 0; }
    Works::iterator firstDue();
    void wait(std::unique_lock<std::mutex> &lock);

    const std::size_t m_capacity;
    mutable std::mutex m_mutex; // guards the rest
    std::condition_variable m_changed;
    Works m_works;
    QSet<QString> m_targets; // of the tasks in it and out
    std::size_t m_out = 0;
    bool m_isClosed = false;
    bool m_isHurried = false;
};

} // namespace VESK::Host
