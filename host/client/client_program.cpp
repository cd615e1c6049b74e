#include "host/client/client_program.h"

#include "host/client/run_meter.h"
#include "host/client/task_log.h"
#include "host/event_writer.h"
#include "host/log_file.h"
#include "host/module_locator.h"
#include "host/signals.h"
#include "host/text.h"
#include "transport/kernel_buffers.h"
#include "transport/udt_library.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <memory>
#include <mutex>
#include <thread>

namespace VESK::Host
{

namespace
{

constexpr std::chrono::seconds endGrace{1}; // for stopped tasks to end in order
constexpr std::chrono::seconds settlingGrace{15}; // to discard what is not to be kept

ExitCode stopCode(const Interruption &interruption)
{
    if (interruption.signal() == 0)
        return ExitCode::LimitReached;
    return interruption.signal() == SIGTERM ? ExitCode::Terminated : ExitCode::Interrupted;
}

// Ends the process when a stopped run does not end by itself: a file that is being hashed cannot be left
// in the middle, and nothing is on its way then.
class LastResort
{
public:
    explicit LastResort(Interruption &interruption)
        : m_interruption(interruption)
        , m_thread([this] { watch(); })
        , m_onStop(interruption, [this] { change(&LastResort::m_isStopped); })
    {
    }
    ~LastResort()
    {
        change(&LastResort::m_isDone);
        m_thread.join();
    }
    LastResort(const LastResort &) = delete;
    LastResort &operator=(const LastResort &) = delete;

private:
    void change(bool LastResort::*flag)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        this->*flag = true;
        m_changed.notify_all();
    }

    void watch()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto isDone = [this] { return m_isDone; };
        m_changed.wait(lock, [this] { return m_isDone || m_isStopped; });
        if (m_changed.wait_for(lock, endGrace, isDone))
            return;
        if (m_interruption.isSettling() && m_changed.wait_for(lock, settlingGrace, isDone))
            return;
        writeStderr(QStringLiteral("\ninterrupted; what has arrived is kept.\n"
                                   "  - Run the same command again to go on from there.\n"));
        ::_exit(number(stopCode(m_interruption)));
    }

    Interruption &m_interruption;
    std::mutex m_mutex; // guards the two below
    bool m_isStopped = false;
    bool m_isDone = false;
    std::condition_variable m_changed;
    std::thread m_thread;
    const Interruption::StopAction m_onStop;
};

// False with a sentence for a person in `error`.
bool openLog(const ClientOptions &options, LogFile *log, QString *error)
{
    const std::string &name = options.output.logFile;
    if (name.empty())
        return true;
    const QString path = givenFileName(name);
    QString why;
    if (log->open(path, &why))
        return true;
    *error = QStringLiteral("cannot write the log file %1: %2").arg(escaped(path), why);
    return false;
}

// What is said is of use for transfers of some length only, and once is enough.
void warnOfSmallKernelBuffers(const ClientOptions &options, const TransportOptions &transport,
                              ProgressDisplay *display)
{
    const KernelBufferShortage shortage = kernelBufferShortage(transport);
    if (!options.quiet && !shortage.command.isEmpty())
        display->print(
            QStringLiteral(
                "warning: the kernel limits UDP buffers to %1, which makes transfers slow; as root: %2\n")
                .arg(bytesText(shortage.limit), shortage.command));
}

} // namespace

int runClient(const QString &verb, const ClientOptions &options, const GlobalOptions &global,
              const std::function<ExitCode(const ClientContext &)> &work)
{
    QString error;
    const std::unique_ptr<Module> module = loadModule(QString::fromStdString(global.module), &error);
    if (!module)
        return usageError(verb, error);

    LogFile logFile;
    if (!openLog(options, &logFile, &error))
        return usageError(verb, error);
    if (options.json)
        writeStartEvent(verb);

    const UdtLibrary library;
    Interruption interruption;
    const ClientSettings settings = clientSettings(options);
    if (settings.discardsWhenInterrupted)
        interruption.discardAtFirst();
    const LastResort lastResort(interruption);
    RunMeter meter;
    ProgressSettings progress =
        progressSettings(options.output, progressStyle(options), options.quiet, options.json);
    progress.log = [&](const QString &lines) { logFile.append(lines); };
    ProgressDisplay display(progress);
    const ClientLog log(display, options.verbose);
    const InstalledVerifyCache cache(options.verifyCache, [&](const QString &sentence) {
        display.note(QStringLiteral("warning: %1\n").arg(sentence));
    });
    std::atomic<int> signals{0};
    const auto end = [&](int signal) {
        constexpr int patience = 3; // the second may take some time
        if (++signals >= patience)
            ::_exit(number(stopCode(interruption)));
        interruption.raise(signal);
    };
    const SignalWatcher watcher(SignalActions{
        end, [&] { display.printStatus(); }, [&](const auto &sleep) { display.suspend(sleep); }, {}});
    if (verb == QLatin1String("put") || verb == QLatin1String("get"))
        warnOfSmallKernelBuffers(options, settings.transport, &display);
    const ExitCode exitCode = work({*module, settings, display, interruption, meter});
    return number(exitCode);
}

} // namespace VESK::Host
