#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace VESK::Host
{

/// Calls an action at once and then again and again, on a thread of its own, for as long as it lives.
class Repeater
{
public:
    /// `pause` is the time between the end of one call and the next.
    Repeater(std::function<void()> action, std::chrono::milliseconds pause);
    /// Waits for a call that runs.
    ~Repeater();
    Repeater(const Repeater &) = delete;
    Repeater &operator=(const Repeater &) = delete;

private:
    void run();

    const std::function<void()> m_action;
    const std::chrono::milliseconds m_pause;
    std::mutex m_mutex; // guards m_isEnding
    std::condition_variable m_changed;
    bool m_isEnding = false;
    std::thread m_thread;
};

} // namespace VESK::Host
