#include "host/server/serve_command.h"

#include "host/congestion_option.h"
#include "host/errors.h"
#include "host/hello/server_hello.h"
#include "host/hello/token_file.h"
#include "host/module_locator.h"
#include "host/server/announcement.h"
#include "host/server/loop_check.h"
#include "host/server/memory.h"
#include "host/server/serve_settings.h"
#include "host/server/server.h"
#include "host/server/server_log.h"
#include "host/signals.h"
#include "host/text.h"
#include "host/verify_cache/verify_cache_options.h"
#include "transport/kernel_buffers.h"
#include "transport/udt_library.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

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

// The secret that clients have to know. Null without an error when nothing is asked of them.
std::optional<Token> settleToken(const ServeOptions &options, Announcement *announcement, Failure *failure)
{
    const QString path = options.tokenFile.empty()
        ? defaultTokenFile()
        : QFileInfo(QFile::decodeName(QByteArray::fromStdString(options.tokenFile))).absoluteFilePath();
    const bool isThere = QFileInfo::exists(path);
    QString error;
    std::optional<Token> token;
    if (isThere || makeTokenFile(path, &error))
        token = readTokenFile(path, &error);
    announcement->tokenFile = path;
    announcement->tokenIsNew = !isThere;
    if (!token)
        *failure = {
            ExitCode::Usage,
            QStringLiteral("no token for this server: %1").arg(error),
            {QStringLiteral("--token-file names another place for it; it is made when missing."),
             QStringLiteral("Where everybody who reaches the port may use the shares: --auth none.")}};
    return token;
}

int run(const ServeOptions &options, const Module &module, const ServerSettings &settings,
        const SocketAddress &address)
{
    Announcement announcement;
    Failure failure;
    std::optional<Token> token;
    if (options.auth == "token" && !(token = settleToken(options, &announcement, &failure)))
        return fail(failure);

    std::optional<ServerLog> log(options.verbose);
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
    HelloTerms terms;
    terms.token = token ? &*token : nullptr;
    terms.moduleKey = module.createHandler()->getKey();
    for (const Share &share : settings.shares)
        terms.shares.push_back({share.name, share.rights});
    Server server(module, settings, terms, listener);
    const SignalWatcher watcher([&](int) { server.stop(); });
    announcement.address = listener.address();
    writeStderr(announcementText(settings, announcement));
    const LoopCheck loopCheck(settings);
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

int serve(const ServeOptions &options, const GlobalOptions &global)
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
    return run(options, *module, *settings, *address);
}

} // namespace

void addServeCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
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
    command->add_option("DIR", options->directory, "a directory to serve; its share bears its name");
    command->add_option("--name", options->name, "another name for the share of DIR")->type_name("NAME");
    command
        ->add_option("--share", options->shares,
                     "NAME=DIR, with :r, :w or :rw behind it: what clients may do (default: both)")
        ->type_name("NAME=DIR[:RIGHTS]")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command->add_option("--listen", options->listen, "address and UDP port; port 0 takes a free one")
        ->capture_default_str()
        ->type_name("ADDRESS[:PORT]");
    command
        ->add_option("--auth", options->auth,
                     "who may connect: those who know the token, or (\"none\") whoever reaches the port")
        ->check(CLI::IsMember({"token", "none"}))
        ->capture_default_str()
        ->type_name("METHOD");
    command
        ->add_option("--token-file", options->tokenFile,
                     "where the token is; made when missing (default: ~/.config/vesk/token)")
        ->type_name("FILE");
    command->add_option("--file-mode", options->fileMode, "mode of received files")
        ->capture_default_str()
        ->type_name("MODE");
    command->add_option("--dir-mode", options->dirMode, "mode of directories that uploads go to")
        ->capture_default_str()
        ->type_name("MODE");
    command->add_option("--max-connections", options->maxConnections, "connections at a time")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    command->add_option("--mtu", options->packetSize, "packet size in bytes")
        ->check(CLI::Range(576, 65000))
        ->capture_default_str();
    addCongestionOption(*command, options->congestion);
    addVerifyCacheOptions(*command, options->verifyCache);
    command->add_flag("-v,--verbose", options->verbose, "log connections and details too");
    command->callback([options, &global, &exitCode] { exitCode = serve(*options, global); });
}

} // namespace VESK::Host
