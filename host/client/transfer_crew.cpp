#include "host/client/transfer_crew.h"

#include "host/client/run_meter.h"
#include "host/text.h"

#include <QtCore/QFile>

#include <chrono>
#include <future>

namespace VESK::Host
{

namespace
{

constexpr std::size_t queueCapacity = 256; // enough for all connections, little for a memory
constexpr std::chrono::milliseconds governInterval{20};
constexpr qint64 memoryLookMs = 500;
constexpr qint64 connectionBytes = qint64(64) << 20; // what one end may come to take
constexpr qint64 memoryPart = 4; // new connections may come to take this part of what is free
constexpr qint64 shortMemory = qint64(128) << 20; // below it, some are given up

// What the system can still give away, in bytes; -1 when it does not say.
qint64 availableMemory()
{
    QFile file(QStringLiteral("/proc/meminfo"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("MemAvailable:"))
            return line.mid(13).trimmed().split(' ').first().toLongLong() << 10;
    }
    return -1;
}

int affordableConnections(int connected)
{
    const qint64 free = availableMemory();
    if (free < 0)
        return ConnectionTuner::most;
    if (free < shortMemory)
        return qMax(1, connected / 2);
    return static_cast<int>(
        qMin<qint64>(ConnectionTuner::most, connected + free / memoryPart / connectionBytes));
}

// Many connections would cut a limited rate into parts that are of no use to any of them.
int connectionLimit(const ClientSettings &settings)
{
    constexpr int limitedConnections = 4;
    return settings.connections == 0 && settings.rateLimit > 0 ? limitedConnections : settings.connections;
}

} // namespace

TransferCrew::TransferCrew(const ClientContext &context, Connector &connector, const RemoteAddress &server)
    : m_context(context)
    , m_link(connector, server, context.settings.family)
    , m_queue(queueCapacity)
    , m_hurry(context.interruption, [this] { m_queue.hurry(); })
    , m_rate(context.settings.rateLimit)
    , m_tuner(connectionLimit(context.settings))
    , m_governor([this] { govern(); })
{
}

TransferCrew::~TransferCrew()
{
    m_queue.close();
    m_queue.waitUntilIdle();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_ending.notify_all();
    }
    m_governor.join(); // adds no worker from now on
    for (std::thread &thread : m_threads)
        thread.join();
}

void TransferCrew::submit(TaskJob job, Ended ended)
{
    m_queue.push({std::move(job), std::move(ended), {}, {}});
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_workers == 0)
        addWorker();
}

TaskEnd TransferCrew::run(TaskJob job)
{
    const auto promise = std::make_shared<std::promise<TaskEnd>>();
    std::future<TaskEnd> end = promise->get_future();
    submit(std::move(job), [promise](const TaskEnd &taskEnd) { promise->set_value(taskEnd); });
    return end.get();
}

// Under the lock.
void TransferCrew::addWorker()
{
    ++m_workers;
    m_threads.emplace_back([this] { work(); });
}

void TransferCrew::work()
{
    Session session(m_context, m_link, [this](Session::Obstacle obstacle) { return resign(obstacle); });
    while (mayStay()) {
        std::optional<JobQueue::Work> work = m_queue.take();
        if (!work)
            return;
        const TaskEnd end = runOnce(session, *work);
        if (end.kind == TaskEnd::Kind::Deferred)
            work->due = JobQueue::Clock::now()
                + std::chrono::milliseconds(static_cast<qint64>(end.againInSeconds * 1000));
        if (end.kind == TaskEnd::Kind::Deferred || end.kind == TaskEnd::Kind::NotTaken) {
            m_queue.putBack(std::move(*work));
            if (end.kind == TaskEnd::Kind::NotTaken)
                return;
            continue;
        }
        work->ended(end);
        m_context.meter.addTask();
        m_queue.done(*work);
    }
}

TaskEnd TransferCrew::runOnce(Session &session, JobQueue::Work &work)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_isAway) {
            TaskEnd end;
            end.kind = TaskEnd::Kind::Failed;
            end.failure = m_awayFailure;
            end.serverIsAway = true;
            return end;
        }
    }
    const int expected = static_cast<int>(m_queue.waiting() + m_queue.out());
    work.job.rateLimit = m_rate.take(qMin(expected, connectionLimit(m_context.settings)));
    const TaskEnd end = session.run(work.job, &work.attempts);
    m_rate.giveBack(work.job.rateLimit);
    if (end.kind == TaskEnd::Kind::Failed && end.serverIsAway) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isAway = true;
        m_awayFailure = end.failure;
        m_queue.hurry(); // to the same end
    }
    return end;
}

// Asked by a session that gets no connection: another one has its task done.
bool TransferCrew::resign(Session::Obstacle obstacle)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_workers <= 1)
        return false;
    --m_workers;
    const qint64 nowMs = m_context.meter.elapsedMs();
    if (obstacle == Session::Obstacle::Full)
        m_tuner.refused(m_workers, nowMs);
    else
        m_tuner.lost(m_workers, nowMs);
    m_wanted = qMin(m_wanted, m_workers);
    return true;
}

bool TransferCrew::mayStay()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_workers <= m_wanted)
        return true;
    --m_workers;
    return false;
}

void TransferCrew::govern()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending.wait_for(lock, governInterval, [this] { return m_isEnding; })) {
        adjust();
        const ClientSettings &settings = m_context.settings;
        QString limit;
        if (settings.maxSeconds > 0
            && m_context.meter.elapsedMs() >= static_cast<qint64>(settings.maxSeconds * 1000))
            limit = QStringLiteral("--max-time %1").arg(durationText(settings.maxSeconds));
        else if (settings.maxBytes > 0 && m_context.meter.bytes() >= settings.maxBytes)
            limit = QStringLiteral("--max-bytes %1").arg(bytesText(settings.maxBytes));
        if (limit.isEmpty())
            continue;
        lock.unlock(); // stopping runs what the tasks have installed for it
        m_context.interruption.reachLimit(limit);
        lock.lock();
    }
}

// Under the lock.
void TransferCrew::adjust()
{
    if (m_workers == 0 || !m_link.wasReached() || m_isAway || m_context.interruption.isRaised())
        return;
    ConnectionTuner::Reading reading;
    reading.nowMs = m_context.meter.elapsedMs();
    reading.bytes = m_context.meter.bytes();
    reading.tasks = m_context.meter.tasks();
    reading.losses = m_context.meter.losses();
    reading.connected = m_link.connected();
    reading.waiting = static_cast<int>(m_queue.waiting());
    reading.waitingBytes = m_queue.waitingBytes();
    if (reading.nowMs >= m_memoryLookMs) {
        m_affordable = affordableConnections(reading.connected);
        m_memoryLookMs = reading.nowMs + memoryLookMs;
    }
    reading.affordable = m_affordable;
    m_wanted = m_tuner.update(reading);
    // One more than there is work for would only wait.
    const int useful = static_cast<int>(m_queue.waiting() + m_queue.out());
    while (m_workers < m_wanted && m_workers < useful)
        addWorker();
}

bool TransferCrew::discard(const TaskJob &job, QString *why)
{
    Session session(m_context, m_link, nullptr);
    return session.discard(job, why);
}

} // namespace VESK::Host
