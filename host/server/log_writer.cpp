#include "host/server/log_writer.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <utility>

namespace VESK::Host
{

namespace
{

constexpr int glanceMs = 100; // between two looks whether to give up
constexpr std::chrono::seconds patienceAtEnd(1);

QByteArray dropNotice(qint64 lines)
{
    return "warning - " + QByteArray::number(lines)
        + " lines are missing here: nobody read the log in time\n";
}

} // namespace

LogWriter::LogWriter(int descriptor, int queueLimit)
    : m_descriptor(descriptor)
    , m_queueLimit(queueLimit)
    , m_thread([this] { run(); })
{
}

LogWriter::~LogWriter()
{
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_changed.notify_all();
        m_isGivenUp = !m_changed.wait_for(lock, patienceAtEnd, [this] { return m_isDone; });
    }
    m_thread.join();
}

void LogWriter::add(const QByteArray &line)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // Once lines were dropped, none is queued before the notice that stands for them.
    if (m_dropped > 0 || m_queued + line.size() > m_queueLimit) {
        ++m_dropped;
        return;
    }
    m_queue.push_back(line);
    m_queued += line.size();
    m_changed.notify_all();
}

void LogWriter::run()
{
    for (QByteArray line = next(); !line.isEmpty(); line = next())
        write(line);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isDone = true;
    m_changed.notify_all();
}

/// The next line, waiting for one; empty at the end.
QByteArray LogWriter::next()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_queue.empty() || m_dropped > 0 || m_isEnding; });
    if (m_isGivenUp)
        return QByteArray();
    if (!m_queue.empty()) {
        const QByteArray line = m_queue.front();
        m_queue.pop_front();
        m_queued -= line.size();
        return line;
    }
    const qint64 dropped = std::exchange(m_dropped, 0);
    return dropped > 0 ? dropNotice(dropped) : QByteArray();
}

void LogWriter::write(const QByteArray &line) const
{
    int written = 0;
    while (written < line.size() && awaitRoom()) {
        // A pipe that is ready takes this much without blocking.
        const int portion = std::min(line.size() - written, PIPE_BUF);
        const ssize_t count = ::write(m_descriptor, line.constData() + written, static_cast<size_t>(portion));
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return; // nowhere to report it
        written += static_cast<int>(std::max<ssize_t>(count, 0));
    }
}

/// False when it is time to end instead.
bool LogWriter::awaitRoom() const
{
    while (!m_isGivenUp) {
        pollfd entry{m_descriptor, POLLOUT, 0};
        if (::poll(&entry, 1, glanceMs) != 0)
            return true; // ready, or an error that writing tells
    }
    return false;
}

} // namespace VESK::Host
