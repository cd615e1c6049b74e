#pragma once

#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace VESK::Host
{

/// Runs a program for each upload that was put in place, one after another, on a thread of its own: nobody
/// waits for it. The file's path is its only argument; more is in its environment (VESK_SHARE, VESK_FILE,
/// VESK_USER, VESK_CLIENT, VESK_BYTES). What fails is told in the server's log.
class DoneHook
{
public:
    struct Upload {
        QString share;
        QString path; ///< of the file
        QString user; ///< as the client says
        QString client; ///< address and port
        qint64 bytes = 0; ///< size of the file
    };

    /// An empty program: nothing is run.
    explicit DoneHook(const QString &program);
    /// Waits for the program that runs; those that wait are not run, and the log says so.
    ~DoneHook();
    DoneHook(const DoneHook &) = delete;
    DoneHook &operator=(const DoneHook &) = delete;

    /// Never waits. Any thread.
    void add(const Upload &upload);

private:
    void work();
    void run(const Upload &upload) const;

    const QString m_program;
    std::mutex m_mutex; // guards the two below
    std::deque<Upload> m_queue;
    bool m_isEnding = false;
    std::condition_variable m_changed;
    std::thread m_thread;
};

} // namespace VESK::Host
