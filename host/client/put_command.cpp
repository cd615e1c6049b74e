#include "host/client/put_command.h"

#include "host/client/task_log.h"
#include "host/client/uploader.h"
#include "host/connection/udt_library.h"
#include "host/module_locator.h"
#include "host/signals.h"
#include "host/text.h"
#include "host/user.h"

#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace VESK::Host
{

namespace
{

constexpr double hashingGraceSeconds = 1; // for a stopped task to end in order

struct PutOptions {
    std::vector<std::string> places; // sources, then the target
    std::string verify = "xxh128";
    std::string user;
    std::string progress = "auto";
    quint16 port = 0;
    int retries = UploadSettings().retries;
    double stallSeconds = UploadSettings().stallSeconds;
    int packetSize = TransportOptions().packetSize;
    bool ipv4 = false;
    bool ipv6 = false;
    bool quiet = false;
    bool verbose = false;
    bool json = false;
};

int usageError(const QString &what)
{
    writeStderr(failureText({ExitCode::Usage, what, {QStringLiteral("vesk put --help shows examples.")}}));
    return number(ExitCode::Usage);
}

bool settle(const PutOptions &options, UploadSettings *settings, QString *error)
{
    const QString target = QString::fromStdString(options.places.back());
    const std::optional<RemoteAddress> remote = parseRemoteAddress(target, error);
    if (!remote) {
        *error = QStringLiteral("%1: %2").arg(escaped(target), *error);
        return false;
    }
    settings->remote = *remote;
    if (options.port != 0 || remote->port == 0)
        settings->remote.port = options.port != 0 ? options.port : defaultPort;
    if (options.ipv4 != options.ipv6)
        settings->family = options.ipv4 ? AddressFamily::Ipv4 : AddressFamily::Ipv6;
    settings->transport.packetSize = options.packetSize;
    const QString user = QString::fromStdString(options.user);
    settings->userName = !user.isEmpty() ? user : remote->user.isEmpty() ? loginName() : remote->user;
    static const std::map<std::string, QString> modes = {
        {"xxh128", QStringLiteral("xxh128")},
        {"sha256", QStringLiteral("sha256")},
        {"quick", QStringLiteral("fileattr")},
        {"none", QStringLiteral("false")},
    };
    settings->verifyMode = modes.at(options.verify);
    settings->retries = options.retries;
    settings->stallSeconds = options.stallSeconds;
    settings->namesEachFile = options.verbose;
    settings->writesEvents = options.json;
    return true;
}

ProgressStyle progressStyle(const PutOptions &options)
{
    if (options.quiet || options.progress == "none")
        return ProgressStyle::None;
    if (options.progress == "bar")
        return ProgressStyle::Bar;
    return options.progress == "line" ? ProgressStyle::Line : ProgressStyle::Auto;
}

// Ends the process when an interrupted run does not end by itself: a file that is being hashed cannot be
// left in the middle, and nothing has been sent yet.
class LastResort
{
public:
    void interruptedBy(int signal)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_finished.wait_for(lock, std::chrono::duration<double>(hashingGraceSeconds),
                                [this] { return m_isDone; }))
            return;
        writeStderr(QStringLiteral("\ninterrupted; what has arrived is kept on the server.\n"
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

QStringList sources(const PutOptions &options)
{
    QStringList paths;
    for (std::size_t i = 0; i + 1 < options.places.size(); ++i)
        paths.append(QString::fromStdString(options.places[i]));
    return paths;
}

int put(const PutOptions &options, const GlobalOptions &global)
{
    QString error;
    UploadSettings settings;
    if (options.places.size() < 2)
        return usageError(QStringLiteral("put needs at least one FILE and a target HOST:SHARE[/DIR]"));
    if (!settle(options, &settings, &error))
        return usageError(error);
    const std::unique_ptr<Module> module = loadModule(QString::fromStdString(global.module), &error);
    if (!module)
        return usageError(error);

    installClientLog(options.verbose);
    const UdtLibrary library;
    Interruption interruption;
    LastResort lastResort;
    const SignalWatcher watcher([&](int signal) {
        interruption.raise(signal);
        lastResort.interruptedBy(signal);
    });
    ProgressDisplay display(progressStyle(options));
    Uploader uploader(*module, settings, display, interruption);
    const UploadSummary summary = uploader.upload(sources(options));
    lastResort.finish();
    if (!options.quiet)
        display.print(summaryText(summary) + QLatin1Char('\n'));
    return number(summary.exitCode);
}

} // namespace

void addPutCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<PutOptions>();
    CLI::App *command = app.add_subcommand(
        "put",
        "Examples:\n"
        "  vesk put film.mkv nas.example.org:incoming\n"
        "  vesk put *.raw nas:incoming/2026/spring --verify sha256\n"
        "  vesk put disk.img vesk://[2001:db8::7]:8375/incoming\n\n"
        "Uploads files. What an interrupted upload has sent is kept; the same command goes on "
        "from there. A file that the server has already is not sent.");
    command
        ->add_option("FILE... TARGET", options->places,
                     "files, then HOST:SHARE[/DIR] or vesk://HOST[:PORT]/SHARE[/DIR]")
        ->required();
    command
        ->add_option("--verify", options->verify, "xxh128, sha256, quick (samples of the contents) or none")
        ->check(CLI::IsMember({"xxh128", "sha256", "quick", "none"}))
        ->capture_default_str();
    command->add_option("--port", options->port, "UDP port of the server (default 8375)")
        ->check(CLI::Range(1, 65535));
    command->add_option("--user", options->user, "user name told to the server (default: login name)");
    command->add_option("--retries", options->retries, "new connections after one that was lost, per file")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    command
        ->add_option("--stall-timeout", options->stallSeconds,
                     "seconds without progress before a new connection")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    command->add_option("--mtu", options->packetSize, "packet size in bytes")
        ->check(CLI::Range(576, 65000))
        ->capture_default_str();
    command->add_option("--progress", options->progress, "auto, bar, line or none")
        ->check(CLI::IsMember({"auto", "bar", "line", "none"}))
        ->capture_default_str();
    command->add_flag("-4", options->ipv4, "use IPv4 only");
    command->add_flag("-6", options->ipv6, "use IPv6 only");
    command->add_flag("-q,--quiet", options->quiet, "say nothing but errors");
    command->add_flag("--json", options->json, "write events to stdout, a line of JSON each");
    command->add_flag("-v,--verbose", options->verbose, "a line for every file, and the handler's log");
    command->callback([options, &global, &exitCode] { exitCode = put(*options, global); });
}

} // namespace VESK::Host
