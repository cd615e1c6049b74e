#pragma once

#include <QtCore/QByteArray>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace VESK::Host
{

/// Writes lines to a descriptor on a thread of its own, so that a reader who stopped reading holds up nobody
/// who logs. What does not fit into the queue is dropped and counted; a line says so where it is missing.
class LogWriter
{
public:
    /// `descriptor` stays the caller's. `queueLimit` in bytes.
    LogWriter(int descriptor, int queueLimit);

    /// Gives the reader a second for what is queued, and drops the rest.
    ~LogWriter();
    LogWriter(const LogWriter &) = delete;
    LogWriter &operator=(const LogWriter &) = delete;

    /// Takes one line, its end included. Never waits. Any thread.
    void add(const QByteArray &line);

private:
    void run();
    QByteArray next();
    void write(const QByteArray &line) const;
    bool awaitRoom() const;

    const int m_descriptor;
    const int m_queueLimit;
    std::mutex m_mutex; // guards the five below
    std::condition_variable m_changed;
    std::deque<QByteArray> m_queue;
    int m_queued = 0; // bytes in the queue
    qint64 m_dropped = 0; // lines since the last one that was queued
    bool m_isEnding = false;
    bool m_isDone = false; // the thread writes no more
    std::atomic<bool> m_isGivenUp{false};
    std::thread m_thread;
};

} // namespace VESK::Host
