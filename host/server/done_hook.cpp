#include "host/server/done_hook.h"

#include "host/server/server_log.h"

#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>

#include <pthread.h>

#include <csignal>

namespace VESK::Host
{

namespace
{

constexpr std::size_t longestQueue = 100000; // uploads; some 50 MB

/// A child that hears signals, unlike this process' threads.
class Child : public QProcess
{
protected:
    void setupChildProcess() override
    {
        sigset_t none;
        sigemptyset(&none);
        pthread_sigmask(SIG_SETMASK, &none, nullptr);
    }
};

} // namespace

DoneHook::DoneHook(const QString &program)
    : m_program(program)
{
    if (!program.isEmpty())
        m_thread = std::thread([this] { work(); });
}

DoneHook::~DoneHook()
{
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_changed.notify_all();
    }
    m_thread.join();
    if (!m_queue.empty())
        logServer(QStringLiteral("warning"),
                  QStringLiteral("%1 was not run for %2 more uploads")
                      .arg(m_program, QString::number(m_queue.size())));
}

void DoneHook::add(const Upload &upload)
{
    if (m_program.isEmpty())
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_queue.size() >= longestQueue) {
        logServer(QStringLiteral("warning"),
                  QStringLiteral("%1 is too slow, and not run for %2").arg(m_program, upload.path));
        return;
    }
    m_queue.push_back(upload);
    m_changed.notify_all();
}

void DoneHook::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_isEnding || !m_queue.empty(); });
        if (m_isEnding)
            return;
        const Upload upload = m_queue.front();
        m_queue.pop_front();
        lock.unlock();
        run(upload);
        lock.lock();
    }
}

void DoneHook::run(const Upload &upload) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VESK_SHARE"), upload.share);
    environment.insert(QStringLiteral("VESK_FILE"), upload.path);
    environment.insert(QStringLiteral("VESK_USER"), upload.user);
    environment.insert(QStringLiteral("VESK_CLIENT"), upload.client);
    environment.insert(QStringLiteral("VESK_BYTES"), QString::number(upload.bytes));
    Child child;
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.setStandardInputFile(QProcess::nullDevice());
    child.setStandardOutputFile(QProcess::nullDevice());
    child.start(m_program, {upload.path});
    if (!child.waitForStarted(-1) || !child.waitForFinished(-1)) {
        logServer(QStringLiteral("warning"),
                  QStringLiteral("cannot run %1: %2").arg(m_program, child.errorString()));
        return;
    }
    const bool isDone = child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0;
    if (!isDone)
        logServer(QStringLiteral("warning"),
                  QStringLiteral("%1 failed for %2 (exit code %3)")
                      .arg(m_program, upload.path, QString::number(child.exitCode())));
}

} // namespace VESK::Host
