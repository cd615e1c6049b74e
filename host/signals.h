#pragma once

#include <functional>
#include <thread>

namespace VESK::Host
{

/// Keeps SIGINT, SIGTERM, SIGHUP, SIGUSR1 and SIGTSTP from interrupting any thread; for main(), before the
/// first thread exists. SIGPIPE is ignored from then on, and so is a SIGHUP that was ignored before, as by
/// nohup.
void holdSignals();

/// What signals mean to a program. All is called on the watcher's thread, where anything may be done.
struct SignalActions {
    std::function<void(int signal)>
        end; ///< SIGINT, SIGTERM; a SIGHUP that means nothing else comes as SIGTERM
    std::function<void()> status; ///< SIGUSR1; empty: nothing happens
    /// SIGTSTP, as by ^Z: is to call `sleep`, which returns when the process is to go on. Empty: it sleeps.
    std::function<void(const std::function<void()> &sleep)> suspend;
    std::function<void()> reload; ///< SIGHUP; empty: it ends the program
};

/// Minds the signals that come while it lives, on a thread of its own. holdSignals() must have been called.
/// One at a time.
class SignalWatcher
{
public:
    explicit SignalWatcher(SignalActions actions);
    /// Minds SIGINT, SIGTERM and SIGHUP alone.
    explicit SignalWatcher(std::function<void(int signal)> end);
    ~SignalWatcher();
    SignalWatcher(const SignalWatcher &) = delete;
    SignalWatcher &operator=(const SignalWatcher &) = delete;

private:
    void watch();
    void act(int signal) const;

    const SignalActions m_actions;
    int m_stopPipe[2] = {-1, -1}; // closed at the writing end to end the thread
    std::thread m_thread;
};

} // namespace VESK::Host
