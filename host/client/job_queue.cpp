#include "host/client/job_queue.h"

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
    m_changed.wait(lock, [this] { return !m_works.empty() || (m_isClosed && isIdle()); });
    if (m_works.empty())
        return std::nullopt;
    Work work = std::move(m_works.front());
    m_works.pop_front();
    ++m_out;
    m_changed.notify_all();
    return work;
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

std::size_t JobQueue::out() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_out;
}

} // namespace VESK::Host
