#pragma once

#include "host/progress_display.h"

#include <udt/udt.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace VESK::Host
{

/// The two counters that a task's handler writes through; the host presets both to -1.
struct TaskCounters {
    std::int64_t total = -1; ///< bytes
    std::int64_t done = -1; ///< bytes
};

/// Watches a running task from a thread of its own: gives it a line of progress, and calls `giveUp` once when
/// the server's process is gone or when no byte has arrived for `stallSeconds` while bytes are on their way.
/// Hashing and waiting for a hashing server are no stall.
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

    TaskMonitor(const Task &task, ProgressDisplay &display);
    /// Ends the thread and the task's line.
    ~TaskMonitor();
    TaskMonitor(const TaskMonitor &) = delete;
    TaskMonitor &operator=(const TaskMonitor &) = delete;

    /// The view of the last reading. Any thread.
    ProgressView lastView() const;

private:
    void watch();

    const Task m_task;
    ProgressDisplay::Task m_shown; // the thread's
    mutable std::mutex m_mutex; // guards the two below
    ProgressView m_view;
    bool m_isEnding = false;
    std::condition_variable m_ending;
    std::thread m_thread;
};

/// A reading of the counters of a task that may be running.
CounterReading readCounters(const TaskCounters &counters, UDTSOCKET socket);

} // namespace VESK::Host
