#include "host/server/repeater.h"

namespace VESK::Host
{

Repeater::Repeater(std::function<void()> action, std::chrono::milliseconds pause)
    : m_action(std::move(action))
    , m_pause(pause)
    , m_thread([this] { run(); })
{
}

Repeater::~Repeater()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

void Repeater::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isEnding) {
        lock.unlock();
        m_action();
        lock.lock();
        m_changed.wait_for(lock, m_pause, [this] { return m_isEnding; });
    }
}

} // namespace VESK::Host
