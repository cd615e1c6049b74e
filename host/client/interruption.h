#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

namespace VESK::Host
{

/// A person's or the system's wish to stop, made known to everything that waits. Any thread.
class Interruption
{
public:
    /// Records the signal (the first one counts) and runs the stop action of the moment.
    void raise(int signal);

    /// The signal, 0 when there was none.
    int signal() const;

    /// Waits, and ends early when the wish comes. False when it has come.
    bool wait(double seconds);

    /// While it lives, `raise` runs `action`, at once when the wish came before.
    class StopAction
    {
    public:
        StopAction(Interruption &interruption, std::function<void()> action);
        ~StopAction();
        StopAction(const StopAction &) = delete;
        StopAction &operator=(const StopAction &) = delete;

    private:
        Interruption &m_interruption;
    };

private:
    mutable std::mutex
        m_mutex; // guards the rest; held while the action runs, so that it cannot outlive its scope
    std::condition_variable m_raised;
    int m_signal = 0;
    std::function<void()> m_action;
};

} // namespace VESK::Host
