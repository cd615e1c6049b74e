#include "host/client/interruption.h"

#include <chrono>

namespace VESK::Host
{

void Interruption::raise(int signal)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_signal != 0)
        return;
    m_signal = signal;
    if (m_action)
        m_action();
    m_raised.notify_all();
}

int Interruption::signal() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_signal;
}

bool Interruption::wait(double seconds)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_raised.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return m_signal != 0; });
}

Interruption::StopAction::StopAction(Interruption &interruption, std::function<void()> action)
    : m_interruption(interruption)
{
    const std::lock_guard<std::mutex> lock(interruption.m_mutex);
    interruption.m_action = std::move(action);
    if (interruption.m_signal != 0)
        interruption.m_action();
}

Interruption::StopAction::~StopAction()
{
    const std::lock_guard<std::mutex> lock(m_interruption.m_mutex);
    m_interruption.m_action = nullptr;
}

} // namespace VESK::Host
