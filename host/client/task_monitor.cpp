#include "host/client/task_monitor.h"

#include "host/client/server_pulse.h"
#include "host/text.h"
#include "transport/udt_socket.h"

#include <QtCore/QElapsedTimer>

#include <cerrno>
#include <chrono>

namespace VESK::Host
{

namespace
{

constexpr std::chrono::milliseconds interval{50};
// A look that comes later than this after the one before follows a sleep of the whole process.
constexpr qint64 sleepMs = 2000;
// Without progress for so long, the server's port is asked for at every look: a server that is started
// again leaves it unowned for a moment only, and the new one knows nothing of this connection.
constexpr qint64 probeAfterMs = 100;

SocketAddress peerOf(UDTSOCKET socket)
{
    UdtSocket borrowed(socket);
    const SocketAddress address = borrowed.peerAddress();
    (void)borrowed.release(); // the socket is the caller's
    return address;
}

QString refusalText(int systemError)
{
    if (systemError == ECONNREFUSED)
        return QStringLiteral("the server's process has ended");
    return QStringLiteral("the server cannot be reached: %1").arg(qt_error_string(systemError));
}

QString stallText(Direction direction, double seconds)
{
    const QString text = direction == Direction::Down
        ? QStringLiteral("nothing has come from the server for %1")
        : QStringLiteral("nothing has reached the server for %1");
    return text.arg(durationText(seconds));
}

} // namespace

CounterReading readCounters(const TaskCounters &counters, UDTSOCKET socket)
{
    CounterReading reading;
    // The transport advances the counter on the task's thread without any lock.
    reading.total = __atomic_load_n(&counters.total, __ATOMIC_RELAXED);
    reading.done = __atomic_load_n(&counters.done, __ATOMIC_RELAXED);
    reading.unsent = unsentBytes(socket);
    return reading;
}

/// What is known of a running task. For one thread at a time.
class TaskMonitor::Watched
{
public:
    Watched(const Task &task, ProgressDisplay &display)
        : m_task(task)
        , m_shown(display, task.name)
    {
        m_clock.start();
    }

    /// Why the task is to be given up; empty: it is not. `pulseMs` is a time of the pulse's clock.
    QString look(ServerPulse &pulse, qint64 pulseMs);

    bool isGivenUp = false;
    std::function<void(const QString &)> giveUp() const { return m_task.giveUp; }

private:
    const Task m_task;
    ProgressDisplay::Task m_shown;
    SocketAddress m_server; // from the first look on
    ProgressMeter m_meter;
    QElapsedTimer m_clock;
    qint64 m_lastLookMs = 0;
    qint64 m_sleptMs = 0; // no time in which the server could have been heard
};

QString TaskMonitor::Watched::look(ServerPulse &pulse, qint64 pulseMs)
{
    if (m_server.size() == 0)
        m_server = peerOf(m_task.socket);
    const qint64 lookMs = m_clock.elapsed();
    if (lookMs - m_lastLookMs > sleepMs)
        m_sleptMs += lookMs - m_lastLookMs;
    m_lastLookMs = lookMs;
    const qint64 nowMs = lookMs - m_sleptMs;
    const CounterReading reading = m_task.read();
    const ProgressView view = m_meter.update(nowMs, reading);
    m_shown.update(view);

    const qint64 idleMs = nowMs - m_meter.lastMoveMs();
    const bool isQuiet = view.phase == Phase::Waiting || view.phase == Phase::Verifying;
    const auto patienceMs = static_cast<qint64>(m_task.stallSeconds * 1000);
    const bool isSilent = pulse.isSilent(m_task.socket, m_server, pulseMs, patienceMs);
    const int refusal = isQuiet || idleMs >= probeAfterMs ? pulse.refusal() : 0;
    if (refusal != 0)
        return refusalText(refusal);
    if (idleMs >= patienceMs)
        return stallText(reading.direction, m_task.stallSeconds);
    return isQuiet && isSilent ? stallText(Direction::Down, m_task.stallSeconds) : QString();
}

TaskMonitor::Watch::Watch(TaskMonitor &monitor, const Task &task)
    : m_monitor(monitor)
{
    auto watched = std::make_unique<Watched>(task, monitor.m_display);
    const std::lock_guard<std::mutex> lock(monitor.m_mutex);
    monitor.m_watched = std::move(watched);
    if (monitor.m_isAsleep)
        monitor.m_changed.notify_all();
}

TaskMonitor::Watch::~Watch()
{
    std::unique_lock<std::mutex> lock(m_monitor.m_mutex);
    m_monitor.m_changed.wait(lock, [this] { return !m_monitor.m_isGivingUp; });
    m_monitor.m_watched.reset();
}

TaskMonitor::TaskMonitor(ProgressDisplay &display)
    : m_display(display)
    , m_thread([this] { work(); })
{
}

TaskMonitor::~TaskMonitor()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

void TaskMonitor::work()
{
    QElapsedTimer clock;
    clock.start();
    ServerPulse pulse; // from task to task: most are too short for an answer
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isEnding) {
        // Small files end and begin between two looks, and nobody is woken for them.
        m_isAsleep = !m_watched;
        if (m_isAsleep)
            m_changed.wait(lock, [this] { return m_isEnding || m_watched; });
        m_isAsleep = false;
        if (m_changed.wait_for(lock, interval, [this] { return m_isEnding; }))
            return;
        if (!m_watched || m_watched->isGivenUp)
            continue;
        const QString why = m_watched->look(pulse, clock.elapsed());
        if (why.isEmpty())
            continue;
        m_watched->isGivenUp = true;
        m_isGivingUp = true;
        const auto giveUp = m_watched->giveUp();
        lock.unlock();
        giveUp(why);
        lock.lock();
        m_isGivingUp = false;
        m_changed.notify_all();
    }
}

} // namespace VESK::Host
