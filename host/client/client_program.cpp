#include "host/client/client_program.h"

#include "host/client/run_meter.h"
#include "host/client/task_log.h"
#include "host/module_locator.h"
#include "host/signals.h"
#include "host/terminal.h"
#include "host/text.h"
#include "transport/udt_library.h"

#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <memory>
#include <mutex>

namespace VESK::Host
{

namespace
{

constexpr double hashingGraceSeconds = 1; // for a stopped task to end in order

// Ends the process when an interrupted run does not end by itself: a file that is being hashed cannot be
// left in the middle, and nothing is on its way then.
class LastResort
{
public:
    void interruptedBy(int signal)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_finished.wait_for(lock, std::chrono::duration<double>(hashingGraceSeconds),
                                [this] { return m_isDone; }))
            return;
        writeStderr(QStringLiteral("\ninterrupted; what has arrived is kept.\n"
                                   "  - Run the same command again to go on from there.\n"));
        ::_exit(number(signal == SIGTERM ? ExitCode::Terminated : ExitCode::Interrupted));
    }

    void finish()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isDone = true;
        m_finished.notify_all();
    }

private:
    std::mutex m_mutex; // guards m_isDone
    std::condition_variable m_finished;
    bool m_isDone = false;
};

} // namespace

int runClient(const QString &verb, const ClientOptions &options, const GlobalOptions &global,
              const std::function<ExitCode(const ClientContext &)> &work)
{
    QString error;
    const std::unique_ptr<Module> module = loadModule(QString::fromStdString(global.module), &error);
    if (!module)
        return usageError(verb, error);

    installClientLog(options.verbose);
    const UdtLibrary library;
    Interruption interruption;
    LastResort lastResort;
    const SignalWatcher watcher([&](int signal) {
        interruption.raise(signal);
        lastResort.interruptedBy(signal);
    });
    const InstalledVerifyCache cache(options.verifyCache, [](const QString &sentence) {
        writeStderr(QStringLiteral("warning: %1\n").arg(sentence));
    });
    RunMeter meter;
    ProgressSettings progress;
    progress.style = progressStyle(options);
    progress.hasColour = wantsColour();
    ProgressDisplay display(progress);
    const ClientSettings settings = clientSettings(options);
    const ExitCode exitCode = work({*module, settings, display, interruption, meter});
    lastResort.finish();
    return number(exitCode);
}

} // namespace VESK::Host
