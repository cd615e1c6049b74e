#pragma once

#include "host/progress_display.h"

#include <udt/udt.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace VESK::Host
{

/// The two counters that a task's handler writes through; the host presets both to -1.
struct TaskCounters {
    std::int64_t total = -1; ///< bytes
    std::int64_t done = -1; ///< bytes
};

/// Watches the tasks of a session, one after another, from a thread of its own: gives each a line of
/// progress, and calls `giveUp` once when the server's process is gone, or when for `stallSeconds` no byte
/// has arrived while bytes are on their way, or the server's port has not answered while we wait for its next
/// word. Hashing and waiting for a hashing server, whose port answers, are no stall.
class TaskMonitor
{
public:
    struct Task {
        QString name; ///< for people, escaped
        UDTSOCKET socket;
        std::function<CounterReading()> read; ///< called on the monitor's thread
        double stallSeconds;
        std::function<void(const QString &why)> giveUp; ///< called on the monitor's thread
    };

    /// The display outlives it.
    explicit TaskMonitor(ProgressDisplay &display);
    /// When no task is watched any more.
    ~TaskMonitor();
    TaskMonitor(const TaskMonitor &) = delete;
    TaskMonitor &operator=(const TaskMonitor &) = delete;

    /// A task is watched while one of these lives. One at a time.
    class Watch
    {
    public:
        Watch(TaskMonitor &monitor, const Task &task);
        /// Waits until the monitor is through with the task.
        ~Watch();
        Watch(const Watch &) = delete;
        Watch &operator=(const Watch &) = delete;

    private:
        TaskMonitor &m_monitor;
    };

private:
    class Watched;

    void work();

    ProgressDisplay &m_display;
    std::mutex m_mutex; // guards the rest but the thread
    std::unique_ptr<Watched> m_watched; // null between two tasks
    bool m_isAsleep = false; // until there is a task
    bool m_isGivingUp = false;
    bool m_isEnding = false;
    std::condition_variable m_changed;
    std::thread m_thread;
};

/// A reading of the counters of a task that may be running.
CounterReading readCounters(const TaskCounters &counters, UDTSOCKET socket);

} // namespace VESK::Host
