#include "host/server/idle_watch.h"

namespace VESK::Host
{

IdleWatch::Visit::Visit(IdleWatch &watch)
    : m_watch(watch)
{
    const std::lock_guard<std::mutex> lock(m_watch.m_mutex);
    ++m_watch.m_visitors;
    m_watch.m_isDue = true;
    m_watch.m_changed.notify_all();
}

IdleWatch::Visit::~Visit()
{
    const std::lock_guard<std::mutex> lock(m_watch.m_mutex);
    --m_watch.m_visitors;
    m_watch.m_changed.notify_all();
}

IdleWatch::IdleWatch(std::chrono::milliseconds quiet, std::function<void()> action)
    : m_quiet(quiet)
    , m_action(std::move(action))
    , m_thread([this] { run(); })
{
}

IdleWatch::~IdleWatch()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

bool IdleWatch::waitUntilIdle(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, limit, [this] { return m_visitors == 0; });
}

void IdleWatch::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isEnding) {
        m_changed.wait(lock, [this] { return m_isEnding || (m_isDue && m_visitors == 0); });
        if (m_changed.wait_for(lock, m_quiet, [this] { return m_isEnding || m_visitors > 0; }))
            continue;
        m_isDue = false;
        lock.unlock();
        m_action();
        lock.lock();
    }
}

} // namespace VESK::Host
