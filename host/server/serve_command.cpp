#include "host/server/serve_command.h"

#include "host/errors.h"
#include "host/module_locator.h"
#include "host/server/done_hook.h"
#include "host/server/memory.h"
#include "host/server/metrics_file.h"
#include "host/server/server_log.h"
#include "host/server/service.h"
#include "host/signals.h"
#include "host/text.h"
#include "host/verify_cache/verify_cache_options.h"
#include "transport/kernel_buffers.h"
#include "transport/udt_library.h"

#include <cstdlib>
#include <memory>
#include <optional>

namespace VESK::Host
{

namespace
{

// For tasks to notice that they are to pause. One that hashes a file does not, and ends with the program: its
// partial copy is kept, as after any other abrupt end.
constexpr std::chrono::seconds patienceAtEnd(5);

int fail(const Failure &failure)
{
    writeStderr(failureText(failure));
    return number(failure.code);
}

void warnOfSmallKernelBuffers(const TransportOptions &transport)
{
    const KernelBufferShortage shortage = kernelBufferShortage(transport);
    if (!shortage.command.isEmpty())
        logServer(
            QStringLiteral("warning"),
            QStringLiteral("the kernel limits UDP buffers to %1, which makes transfers slow; as root: %2")
                .arg(bytesText(shortage.limit), shortage.command));
}

ServerLog::Format logFormat(const ServeOptions &options)
{
    return options.logFormat == "json" ? ServerLog::Format::Json : ServerLog::Format::Text;
}

int run(const ServeOptions &options, const TreeBuilder &build, const Module &module,
        const ServerSettings &settings, const SocketAddress &address)
{
    Announcement announcement;
    Failure failure;
    std::optional<Token> token;
    if (options.auth == "token" && !(token = settleToken(options, &announcement, &failure)))
        return fail(failure);

    std::optional<ServerLog> log;
    log.emplace(options.verbose, logFormat(options));
    const UdtLibrary library;
    TransportOptions transport;
    transport.packetSize = options.packetSize;
    transport.congestion = options.congestion;
    Listener listener(transport);
    QString error;
    if (!listener.open(address, &error))
        return fail({ExitCode::Usage,
                     QStringLiteral("cannot listen on %1: %2").arg(address.text(), error),
                     {QStringLiteral("Is another server running there? --listen chooses another port.")}});

    warnOfSmallKernelBuffers(transport);
    const InstalledVerifyCache cache(
        options.verifyCache, [](const QString &sentence) { logServer(QStringLiteral("warning"), sentence); });
    const QString moduleKey = module.createHandler()->getKey();
    const Token *const asked = token ? &*token : nullptr;
    ServerMeter meter;
    const MetricsFile metrics(meter, givenFileName(options.metricsFile));
    DoneHook hook(givenFileName(options.onDone));
    Server server(module, settings, helloTerms(settings, moduleKey, asked), listener, {&meter, &hook});
    announcement.address = listener.address();
    Service service(options, build, server, settings, moduleKey, asked);
    const SignalWatcher watcher(SignalActions{
        [&](int) { server.drain(); }, [&] { service.tellStatus(); }, {}, [&] { service.reload(); }});
    writeStderr(announcementText(settings, announcement));
    server.run();
    logServer(QStringLiteral("info"), QStringLiteral("stopping"));
    if (!server.finish(patienceAtEnd)) {
        logServer(QStringLiteral("warning"),
                  QStringLiteral("ending in the middle of a task that does not stop"));
        log.reset();
        std::_Exit(number(ExitCode::Success));
    }
    return number(ExitCode::Success);
}

int serve(const ServeOptions &options, const GlobalOptions &global, const TreeBuilder &build)
{
    limitHeaps();
    Failure failure;
    const std::optional<ServerSettings> settings = serverSettings(options, &failure);
    if (!settings)
        return fail(failure);
    const std::optional<SocketAddress> address = listenAddress(options, &failure);
    if (!address)
        return fail(failure);
    QString error;
    const std::unique_ptr<Module> module = loadModule(QString::fromStdString(global.module), &error);
    if (!module)
        return fail({ExitCode::Usage, error, {}});
    return run(options, build, *module, *settings, *address);
}

} // namespace

void addServeCommand(CLI::App &app, const GlobalOptions &global, int &exitCode, const TreeBuilder &build)
{
    const auto options = std::make_shared<ServeOptions>();
    options->packetSize = TransportOptions().packetSize;
    CLI::App *command = app.add_subcommand(
        "serve",
        "Examples:\n"
        "  vesk serve /srv/incoming\n"
        "  vesk serve /srv/incoming --listen 0.0.0.0\n"
        "  vesk serve --share in=/srv/in:w --share films=/srv/films:r --listen 10.8.0.1\n\n"
        "Serves directories as shares, to those who have its token. What to do on the other "
        "machine is printed at the start.");
    addServeOptions(*command, *options);
    command->callback([=, &global, &exitCode] {
        if (global.takeServeOptions)
            global.takeServeOptions(*options);
        else
            exitCode = serve(*options, global, build);
    });
}

} // namespace VESK::Host
