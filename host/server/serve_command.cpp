#include "host/server/serve_command.h"

#include "host/errors.h"
#include "host/hello/server_hello.h"
#include "host/hello/token_file.h"
#include "host/module_locator.h"
#include "host/server/announcement.h"
#include "host/server/done_hook.h"
#include "host/server/loop_check.h"
#include "host/server/memory.h"
#include "host/server/metrics_file.h"
#include "host/server/partial_sweep.h"
#include "host/server/serve_reload.h"
#include "host/server/serve_settings.h"
#include "host/server/server.h"
#include "host/server/server_log.h"
#include "host/signals.h"
#include "host/text.h"
#include "host/verify_cache/verify_cache_options.h"
#include "transport/kernel_buffers.h"
#include "transport/udt_library.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cstdlib>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

QString fileName(const std::string &text)
{
    return QFile::decodeName(QByteArray::fromStdString(text));
}

// The secret that clients have to know. Null without an error when nothing is asked of them.
std::optional<Token> settleToken(const ServeOptions &options, Announcement *announcement, Failure *failure)
{
    const QString path = options.tokenFile.empty()
        ? defaultTokenFile()
        : QFileInfo(fileName(options.tokenFile)).absoluteFilePath();
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

ServerLog::Format logFormat(const ServeOptions &options)
{
    return options.logFormat == "json" ? ServerLog::Format::Json : ServerLog::Format::Text;
}

HelloTerms helloTerms(const ServerSettings &settings, const QString &moduleKey, const Token *token)
{
    HelloTerms terms;
    terms.token = token;
    terms.moduleKey = moduleKey;
    for (const Share &share : settings.shares)
        terms.shares.push_back({share.name, share.rights});
    return terms;
}

void logStatus(Server &server)
{
    const std::vector<ConnectionStatus> connections = server.status();
    logServer(QStringLiteral("info"),
              QStringLiteral("status: %1")
                  .arg(countText(static_cast<qint64>(connections.size()), QStringLiteral("connection"))));
    for (const ConnectionStatus &connection : connections)
        logServer(QStringLiteral("info"), QStringLiteral("status: ") + statusText(connection));
}

/// A running server and what may change in it: what SIGHUP and SIGUSR1 come to. Both are of one thread.
class Service
{
public:
    Service(const ServeOptions &options, const TreeBuilder &build, Server &server,
            const ServerSettings &settings, const QString &moduleKey, const Token *token)
        : m_options(options)
        , m_build(build)
        , m_server(server)
        , m_moduleKey(moduleKey)
        , m_token(token)
    {
        look(settings);
    }

    void reload()
    {
        Failure failure;
        if (!tryReload(&failure))
            logServer(QStringLiteral("error"),
                      QStringLiteral("the settings stay as they are: %1")
                          .arg((QStringList{failure.what} + failure.hints).join(QStringLiteral("; "))));
    }

    void tellStatus() { logStatus(m_server); }

private:
    bool tryReload(Failure *failure)
    {
        const std::optional<ServeOptions> options =
            rereadServeOptions(m_build, QCoreApplication::arguments(), failure);
        const std::optional<ServerSettings> settings =
            options ? serverSettings(*options, failure) : std::nullopt;
        if (!settings || !rereadToken(*options, failure))
            return false;
        m_server.setTerms(*settings, helloTerms(*settings, m_moduleKey, m_token));
        look(*settings);
        QStringList names;
        for (const Share &share : settings->shares)
            names.append(QStringLiteral("%1 (%2)").arg(share.name, rightsText(share.rights)));
        logServer(QStringLiteral("info"),
                  QStringLiteral("settings read anew; shares: %1").arg(names.join(QStringLiteral(", "))));
        const QStringList later = optionsForNextStart(m_options, *options);
        if (!later.isEmpty())
            logServer(
                QStringLiteral("warning"),
                QStringLiteral("%1 will hold from the next start on").arg(later.join(QStringLiteral(", "))));
        return true;
    }

    // The file may hold another token by now. Connections refer to the old one for as long as they stand.
    bool rereadToken(const ServeOptions &options, Failure *failure)
    {
        if (!m_token)
            return true;
        Announcement announcement;
        std::optional<Token> token = settleToken(options, &announcement, failure);
        if (!token)
            return false;
        m_token = &m_tokens.emplace_back(std::move(*token));
        return true;
    }

    // What is done beside serving; what was begun before is ended first.
    void look(const ServerSettings &settings)
    {
        m_loopCheck.emplace(settings);
        m_sweep.emplace(settings, [this](const QString &path) { return m_server.isReceiving(path); });
    }

    const ServeOptions m_options; // of the start
    const TreeBuilder m_build;
    Server &m_server;
    const QString m_moduleKey;
    const Token *m_token; // that holds; null: none is asked for
    std::list<Token> m_tokens; // all that were read later than at the start
    std::optional<LoopCheck> m_loopCheck;
    std::optional<PartialSweep> m_sweep;
};

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
    const MetricsFile metrics(meter, fileName(options.metricsFile));
    DoneHook hook(fileName(options.onDone));
    Server server(module, settings, helloTerms(settings, moduleKey, asked), listener, {&meter, &hook});
    announcement.address = listener.address();
    Service service(options, build, server, settings, moduleKey, asked);
    const SignalWatcher watcher(SignalActions{
        [&](int) { server.stop(); }, [&] { service.tellStatus(); }, {}, [&] { service.reload(); }});
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
