#pragma once

#include "host/client/session.h"

#include <QtCore/QSet>

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
    struct Work {
        TaskJob job;
        std::function<void(const TaskEnd &)> ended; ///< called once, on the thread that ran it
    };

    explicit JobQueue(std::size_t capacity)
        : m_capacity(capacity)
    {
    }

    /// Waits while the queue is full, and while a task for the same target is in it or out.
    void push(Work work);

    /// The next task, which is out from now on until `done` or `putBack`. Waits for one; nothing when the
    /// queue is closed and no task is in it or out.
    std::optional<Work> take();

    void done(const Work &work);
    /// Returns a task that was not begun; it is the next to be taken.
    void putBack(Work work);

    /// No task will be pushed any more.
    void close();

    /// Waits until no task is in it or out.
    void waitUntilIdle();

    std::size_t waiting() const;
    std::size_t out() const;

private:
    bool isIdle() const { return m_works.empty() && m_out == 0; }

    const std::size_t m_capacity;
    mutable std::mutex m_mutex; // guards the rest
    std::condition_variable m_changed;
    std::deque<Work> m_works;
    QSet<QString> m_targets; // of the tasks in it and out
    std::size_t m_out = 0;
    bool m_isClosed = false;
};

} // namespace VESK::Host
