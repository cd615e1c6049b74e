#include "host/server/running_tasks.h"

namespace VESK::Host
{

RunningTasks::Entry::Entry(RunningTasks &tasks)
    : m_tasks(tasks)
    , m_isTaken(tasks.enter())
{
}

RunningTasks::Entry::~Entry()
{
    if (m_isTaken)
        m_tasks.leave();
}

int RunningTasks::refuseFurther()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isRefusing = true;
    return m_count;
}

bool RunningTasks::isRefusing() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isRefusing;
}

void RunningTasks::waitForEnd(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    (void)m_changed.wait_for(lock, limit,
                             [this] { return m_count == 0 || m_isHurrying; }); // all ends are one
}

void RunningTasks::hurry()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isHurrying = true;
    m_changed.notify_all();
}

bool RunningTasks::enter()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_isRefusing)
        return false;
    ++m_count;
    return true;
}

void RunningTasks::leave()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_count;
    m_changed.notify_all();
}

} // namespace VESK::Host
