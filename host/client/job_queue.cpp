#include "host/client/job_queue.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

QString targetOf(const TaskJob &job)
{
    if (job.operation == Operation::Download)
        return job.localPath();
    return QStringList{job.share, job.rootPath, job.subPath, job.fileName}.join(QLatin1Char('/'));
}

} // namespace

void JobQueue::push(Work work)
{
    const QString target = targetOf(work.job);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_works.size() < m_capacity && !m_targets.contains(target); });
    m_targets.insert(target);
    m_works.push_back(std::move(work));
    m_changed.notify_all();
}

std::optional<JobQueue::Work> JobQueue::take()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    Works::iterator next;
    while ((next = firstDue()) == m_works.end()) {
        if (m_isClosed && isIdle())
            return std::nullopt;
        wait(lock);
    }
    Work work = std::move(*next);
    m_works.erase(next);
    ++m_out;
    m_changed.notify_all();
    return work;
}

// Under the lock.
JobQueue::Works::iterator JobQueue::firstDue()
{
    const Clock::time_point now = Clock::now();
    return std::find_if(m_works.begin(), m_works.end(),
                        [&](const Work &work) { return m_isHurried || work.due <= now; });
}

// For a change, or until a task is due.
void JobQueue::wait(std::unique_lock<std::mutex> &lock)
{
    if (m_works.empty())
        return m_changed.wait(lock);
    const auto isEarlier = [](const Work &one, const Work &other) { return one.due < other.due; };
    const Clock::time_point due = std::min_element(m_works.begin(), m_works.end(), isEarlier)->due;
    (void)m_changed.wait_until(lock, due); // the caller looks what it was
}

void JobQueue::done(const Work &work)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_out;
    m_targets.remove(targetOf(work.job));
    m_changed.notify_all();
}

void JobQueue::putBack(Work work)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_out;
    m_works.push_front(std::move(work));
    m_changed.notify_all();
}

void JobQueue::hurry()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isHurried = true;
    m_changed.notify_all();
}

void JobQueue::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isClosed = true;
    m_changed.notify_all();
}

void JobQueue::waitUntilIdle()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return isIdle(); });
}

std::size_t JobQueue::waiting() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_works.size();
}

qint64 JobQueue::waitingBytes() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    qint64 bytes = 0;
    for (const Work &work : m_works) {
        if (work.job.size < 0)
            return -1;
        bytes += work.job.size;
    }
    return bytes;
}

std::size_t JobQueue::out() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_out;
}

} // namespace VESK::Host
