#include "host/client/interruption.h"

#include <chrono>
#include <csignal>

namespace VESK::Host
{

void Interruption::raise(int signal)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (signal == SIGINT && (m_discardsAtFirst || m_signal == SIGINT))
        m_discards = true;
    if (m_signal == 0 && m_limit.isEmpty())
        m_signal = signal;
    stopAll();
}

void Interruption::reachLimit(const QString &what)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_isRaised)
        return;
    m_limit = what;
    stopAll();
}

void Interruption::stopAll()
{
    const bool isFirst = !m_isRaised.exchange(true);
    if (isFirst) {
        for (const std::function<void()> &action : m_actions)
            action();
    }
    m_raised.notify_all();
}

int Interruption::signal() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_signal;
}

QString Interruption::limit() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_limit;
}

bool Interruption::wait(double seconds)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_raised.wait_for(lock, std::chrono::duration<double>(seconds),
                              [this] { return m_isRaised.load(); });
}

bool Interruption::waitForDiscard(double seconds)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_raised.wait_for(lock, std::chrono::duration<double>(seconds),
                             [this] { return m_discards.load(); });
}

Interruption::StopAction::StopAction(Interruption &interruption, std::function<void()> action)
    : m_interruption(interruption)
{
    const std::lock_guard<std::mutex> lock(interruption.m_mutex);
    m_action = interruption.m_actions.insert(interruption.m_actions.end(), std::move(action));
    if (interruption.m_isRaised)
        (*m_action)();
}

Interruption::StopAction::~StopAction()
{
    const std::lock_guard<std::mutex> lock(m_interruption.m_mutex);
    m_interruption.m_actions.erase(m_action);
}

} // namespace VESK::Host
