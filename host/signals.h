#pragma once

#include <functional>
#include <thread>

namespace VESK::Host
{

/// Keeps SIGINT and SIGTERM from interrupting any thread; for main(), before the first thread exists.
/// SIGPIPE is ignored from then on.
void holdSignals();

/// Calls back for every SIGINT and SIGTERM that comes while it lives, on a thread of its own, where
/// anything may be done. holdSignals() must have been called. One at a time.
class SignalWatcher
{
public:
    explicit SignalWatcher(std::function<void(int signal)> callback);
    ~SignalWatcher();
    SignalWatcher(const SignalWatcher &) = delete;
    SignalWatcher &operator=(const SignalWatcher &) = delete;

private:
    void watch();

    const std::function<void(int)> m_callback;
    int m_stopPipe[2] = {-1, -1}; // closed at the writing end to end the thread
    std::thread m_thread;
};

} // namespace VESK::Host
