#pragma once

#include <QtCore/QString>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>

namespace VESK::Host
{

/// A person's or the system's wish to stop, or a limit that the person set, made known to everything that
/// waits. What has arrived is kept, unless the wish is repeated: then it is to be discarded. Any thread.
class Interruption
{
public:
    /// Records the signal (the first one counts) and runs the stop actions of the moment. A second SIGINT
    /// asks for discarding.
    void raise(int signal);

    /// Stops as a signal does, since a limit was reached; `what` names it for people.
    void reachLimit(const QString &what);

    /// Lets the first signal discard. Before anything runs.
    void discardAtFirst() { m_discardsAtFirst = true; }

    /// Has the wish come, or the limit been reached?
    bool isRaised() const { return m_isRaised; }

    /// The signal, 0 when there was none.
    int signal() const;

    /// The limit that was reached; empty when there was none, or a signal came before.
    QString limit() const;

    /// Is what has arrived to be discarded? May be asked from a stop action.
    bool discards() const { return m_discards; }

    /// Waits, and ends early when the wish comes. False when it has come.
    bool wait(double seconds);

    /// Tasks have ended, and what they left is being settled, which may take some seconds.
    void beginSettling() { m_isSettling = true; }
    bool isSettling() const { return m_isSettling; }

    /// Waits for the wish to discard; false when it does not come.
    bool waitForDiscard(double seconds);

    /// While it lives, the first `raise` or `reachLimit` runs `action`, at once when it came before.
    class StopAction
    {
    public:
        StopAction(Interruption &interruption, std::function<void()> action);
        ~StopAction();
        StopAction(const StopAction &) = delete;
        StopAction &operator=(const StopAction &) = delete;

    private:
        Interruption &m_interruption;
        std::list<std::function<void()>>::iterator m_action;
    };

private:
    void stopAll();

    mutable std::mutex m_mutex; // guards the rest; held while actions run, so that none can outlive its scope
    std::condition_variable m_raised;
    int m_signal = 0;
    QString m_limit;
    std::list<std::function<void()>> m_actions;
    std::atomic<bool> m_isRaised{false};
    std::atomic<bool> m_discards{false};
    std::atomic<bool> m_isSettling{false};
    bool m_discardsAtFirst = false;
};

} // namespace VESK::Host
