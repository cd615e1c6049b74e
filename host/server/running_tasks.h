#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace VESK::Host
{

/// The tasks that run on a server, and whether it takes further ones. Any thread.
class RunningTasks
{
public:
    /// A task from its beginning on, for as long as it lives; or none, where no further one is taken.
    class Entry
    {
    public:
        explicit Entry(RunningTasks &tasks);
        ~Entry();
        Entry(const Entry &) = delete;
        Entry &operator=(const Entry &) = delete;

        bool isTaken() const { return m_isTaken; }

    private:
        RunningTasks &m_tasks;
        const bool m_isTaken;
    };

    /// Takes no further one from now on. The number of those that run.
    int refuseFurther();

    bool isRefusing() const;

    /// Waits until none runs, for `limit` at most, and no longer than until `hurry` is called, whether before
    /// or meanwhile.
    void waitForEnd(std::chrono::milliseconds limit);

    void hurry();

private:
    bool enter();
    void leave();

    mutable std::mutex m_mutex; // guards the rest
    std::condition_variable m_changed;
    int m_count = 0;
    bool m_isRefusing = false;
    bool m_isHurrying = false;
};

} // namespace VESK::Host
