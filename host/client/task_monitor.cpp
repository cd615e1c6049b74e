#include "host/client/task_monitor.h"

#include "host/text.h"
#include "transport/refusal_probe.h"
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

TaskMonitor::TaskMonitor(const Task &task, ProgressDisplay &display)
    : m_task(task)
    , m_shown(display, task.name)
    , m_thread([this] { watch(); })
{
}

TaskMonitor::~TaskMonitor()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_ending.notify_all();
    }
    m_thread.join();
}

ProgressView TaskMonitor::lastView() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_view;
}

void TaskMonitor::watch()
{
    ProgressMeter meter;
    QElapsedTimer clock;
    clock.start();
    RefusalProbe probe(peerOf(m_task.socket));
    qint64 lastLookMs = 0;
    qint64 sleptMs = 0; // no time in which the server could have been heard
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending.wait_for(lock, interval, [this] { return m_isEnding; })) {
        const qint64 lookMs = clock.elapsed();
        if (lookMs - lastLookMs > sleepMs)
            sleptMs += lookMs - lastLookMs;
        lastLookMs = lookMs;
        const qint64 nowMs = lookMs - sleptMs;
        const CounterReading reading = m_task.read();
        m_view = meter.update(nowMs, reading);
        m_shown.update(m_view);

        const qint64 idleMs = nowMs - meter.lastMoveMs();
        const bool isQuiet = m_view.phase == Phase::Waiting || m_view.phase == Phase::Verifying;
        if (isQuiet || idleMs >= probeAfterMs)
            probe.send();
        QString why;
        if (probe.isRefused(0))
            why = refusalText(probe.systemError());
        else if (idleMs >= static_cast<qint64>(m_task.stallSeconds * 1000))
            why = stallText(reading.direction, m_task.stallSeconds);
        if (why.isEmpty())
            continue;
        lock.unlock();
        m_task.giveUp(why);
        return;
    }
}

} // namespace VESK::Host
