#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace VESK::Host
{

/// Counts visits, and calls an action when the last visitor has been gone for a while and none came since:
/// once after each busy time, on a thread of its own.
class IdleWatch
{
public:
    /// One visit, for as long as it lives.
    class Visit
    {
    public:
        explicit Visit(IdleWatch &watch);
        ~Visit();
        Visit(const Visit &) = delete;
        Visit &operator=(const Visit &) = delete;

    private:
        IdleWatch &m_watch;
    };

    IdleWatch(std::chrono::milliseconds quiet, std::function<void()> action);
    ~IdleWatch();
    IdleWatch(const IdleWatch &) = delete;
    IdleWatch &operator=(const IdleWatch &) = delete;

    /// Waits until there is no visitor; false when there still is one after `limit`. Any thread.
    [[nodiscard]] bool waitUntilIdle(std::chrono::milliseconds limit);

private:
    void run();

    const std::chrono::milliseconds m_quiet;
    const std::function<void()> m_action;
    std::mutex m_mutex; // guards the three below
    std::condition_variable m_changed;
    int m_visitors = 0;
    bool m_isDue = false; // somebody was here since the action
    bool m_isEnding = false;
    std::thread m_thread;
};

} // namespace VESK::Host
