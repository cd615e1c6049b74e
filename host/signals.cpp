#include "host/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

namespace VESK::Host
{

namespace
{

// A blocked signal would be told although it is ignored.
bool isIgnored(int signal)
{
    struct sigaction action {
    };
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t watchedSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGUSR1);
    sigaddset(&set, SIGTSTP);
    if (!isIgnored(SIGHUP))
        sigaddset(&set, SIGHUP);
    return set;
}

// Stops the whole process as SIGTSTP does by itself; a shell without job control leaves it running.
void sleepUntilContinued()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTSTP);
    (void)std::raise(SIGTSTP); // pending until the next line, then it takes effect at once
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

} // namespace

void holdSignals()
{
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

SignalWatcher::SignalWatcher(std::function<void(int)> end)
    : SignalWatcher(SignalActions{std::move(end), {}, {}, {}})
{
}

SignalWatcher::SignalWatcher(SignalActions actions)
    : m_actions(std::move(actions))
{
    if (::pipe2(m_stopPipe, O_CLOEXEC) == 0)
        m_thread = std::thread([this] { watch(); });
}

SignalWatcher::~SignalWatcher()
{
    if (!m_thread.joinable())
        return;
    ::close(m_stopPipe[1]);
    m_thread.join();
    ::close(m_stopPipe[0]);
}

void SignalWatcher::watch()
{
    const sigset_t set = watchedSignals();
    const int descriptor = ::signalfd(-1, &set, SFD_CLOEXEC);
    for (;;) {
        pollfd entries[] = {{descriptor, POLLIN, 0}, {m_stopPipe[0], POLLIN, 0}};
        if (::poll(entries, 2, -1) < 0)
            continue;
        if (entries[1].revents != 0)
            break;
        signalfd_siginfo info{};
        if (::read(descriptor, &info, sizeof(info)) == static_cast<ssize_t>(sizeof(info)))
            act(static_cast<int>(info.ssi_signo));
    }
    ::close(descriptor);
}

void SignalWatcher::act(int signal) const
{
    if (signal == SIGUSR1) {
        if (m_actions.status)
            m_actions.status();
        return;
    }
    if (signal == SIGHUP && m_actions.reload)
        return m_actions.reload();
    if (signal != SIGTSTP)
        return m_actions.end(signal == SIGHUP ? SIGTERM : signal);
    if (m_actions.suspend)
        m_actions.suspend(sleepUntilContinued);
    else
        sleepUntilContinued();
}

} // namespace VESK::Host
