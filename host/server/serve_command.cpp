#include "host/server/serve_command.h"

#include "host/address.h"
#include "host/errors.h"
#include "host/module_locator.h"
#include "host/server/server.h"
#include "host/server/server_log.h"
#include "host/signals.h"
#include "host/text.h"
#include "host/verify_cache/verify_cache_options.h"
#include "transport/udt_library.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <memory>
#include <string>

namespace VESK::Host
{

namespace
{

constexpr int wantedKernelBuffer = 4 << 20; // bytes; see TransportOptions::udpReceiveBuffer

struct ServeOptions {
    std::string directory;
    std::string name;
    std::string listen = "127.0.0.1:8375";
    std::string auth;
    std::string fileMode = "0640";
    std::string dirMode = "0750";
    VerifyCacheOptions verifyCache;
    int maxConnections = ServerSettings().maxConnections;
    int packetSize = TransportOptions().packetSize;
    bool verbose = false;
};

int fail(ExitCode code, const QString &what, const QStringList &hints = {})
{
    writeStderr(failureText({code, what, hints}));
    return number(code);
}

bool parseMode(const std::string &text, int *mode)
{
    bool ok = false;
    *mode = QString::fromStdString(text).toInt(&ok, 8);
    return ok && *mode > 0 && *mode <= 07777;
}

// False with the error already told.
bool settle(const ServeOptions &options, ServerSettings *settings, int *exitCode)
{
    const QString directory = QFile::decodeName(QByteArray::fromStdString(options.directory));
    if (!QFileInfo(directory).isDir()) {
        *exitCode = fail(ExitCode::Usage, QStringLiteral("%1 is not a directory").arg(escaped(directory)));
        return false;
    }
    settings->share = shareOfDirectory(directory);
    if (!options.name.empty())
        settings->share.name = QString::fromStdString(options.name);
    settings->maxConnections = options.maxConnections;
    if (!parseMode(options.fileMode, &settings->fileMode)
        || !parseMode(options.dirMode, &settings->dirMode)) {
        *exitCode = fail(ExitCode::Usage, QStringLiteral("a mode is an octal number such as 0640"));
        return false;
    }
    static const QString reserved = QStringLiteral(":%/");
    for (const QChar character : reserved) {
        if (settings->share.name.contains(character)) {
            *exitCode =
                fail(ExitCode::Usage, QStringLiteral("a share's name cannot hold \"%1\"").arg(character));
            return false;
        }
    }
    return true;
}

std::optional<SocketAddress> listenAddress(const ServeOptions &options, int *exitCode)
{
    QString error;
    const QString text = QString::fromStdString(options.listen);
    const std::optional<ListenAddress> wanted = parseListenAddress(text, &error);
    if (!wanted) {
        *exitCode = fail(ExitCode::Usage, QStringLiteral("--listen %1: %2").arg(escaped(text), error));
        return std::nullopt;
    }
    const auto addresses = SocketAddress::resolve(wanted->host, wanted->port, AddressFamily::Any, &error);
    if (addresses.empty()) {
        *exitCode = fail(ExitCode::Usage, QStringLiteral("--listen %1: %2").arg(escaped(text), error));
        return std::nullopt;
    }
    if (!addresses.front().isLoopback() && options.auth != "none") {
        *exitCode =
            fail(ExitCode::Usage,
                 QStringLiteral("%1 can be reached from other machines, and nothing is asked of "
                                "those who connect")
                     .arg(addresses.front().hostText()),
                 {QStringLiteral("Whoever reaches the port can read and write the share, and data is not "
                                 "encrypted. On a network you trust, say so with --auth none.")});
        return std::nullopt;
    }
    return addresses.front();
}

void warnOfSmallKernelBuffers()
{
    QFile file(QStringLiteral("/proc/sys/net/core/rmem_max"));
    if (!file.open(QIODevice::ReadOnly))
        return;
    const int limit = file.readAll().trimmed().toInt();
    if (limit < wantedKernelBuffer)
        logServer(QStringLiteral("warning"),
                  QStringLiteral("the kernel limits UDP buffers to %1, which makes transfers slow; "
                                 "as root: sysctl -w net.core.rmem_max=%2")
                      .arg(bytesText(limit), QString::number(wantedKernelBuffer)));
}

int serve(const ServeOptions &options, const GlobalOptions &global)
{
    int exitCode = number(ExitCode::Success);
    ServerSettings settings;
    if (!settle(options, &settings, &exitCode))
        return exitCode;
    const std::optional<SocketAddress> address = listenAddress(options, &exitCode);
    if (!address)
        return exitCode;
    QString error;
    const std::unique_ptr<Module> module = loadModule(QString::fromStdString(global.module), &error);
    if (!module)
        return fail(ExitCode::Usage, error);

    installServerLog(options.verbose);
    const UdtLibrary library;
    TransportOptions transport;
    transport.packetSize = options.packetSize;
    Listener listener(transport);
    if (!listener.open(*address, &error))
        return fail(ExitCode::Usage, QStringLiteral("cannot listen on %1: %2").arg(address->text(), error),
                    {QStringLiteral("Is another server running there? --listen chooses another port.")});

    warnOfSmallKernelBuffers();
    const InstalledVerifyCache cache(
        options.verifyCache, [](const QString &sentence) { logServer(QStringLiteral("warning"), sentence); });
    {
        Server server(*module, settings, listener);
        const SignalWatcher watcher([&](int) { server.stop(); });
        writeStderr(QStringLiteral("serving %1 (%2) on %3\n")
                        .arg(escaped(settings.share.name), escaped(settings.share.directory),
                             listener.address().text()));
        server.run();
        logServer(QStringLiteral("info"), QStringLiteral("stopping"));
    }
    return exitCode;
}

} // namespace

void addServeCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<ServeOptions>();
    CLI::App *command = app.add_subcommand("serve",
                                           "Examples:\n"
                                           "  vesk serve /srv/incoming\n"
                                           "  vesk serve /srv/incoming --listen 10.8.0.1:8375 --auth none\n\n"
                                           "Serves a directory as a share that bears its name.");
    command->add_option("DIR", options->directory, "the directory to serve")->required();
    command->add_option("--name", options->name, "name of the share (default: DIR's last component)");
    command->add_option("--listen", options->listen, "address and UDP port; port 0 takes a free one")
        ->capture_default_str();
    command
        ->add_option("--auth", options->auth, "who may connect; \"none\" (everybody) is all there is as yet")
        ->check(CLI::IsMember({"none"}));
    command->add_option("--file-mode", options->fileMode, "mode of received files")->capture_default_str();
    command->add_option("--dir-mode", options->dirMode, "mode of directories that uploads go to")
        ->capture_default_str();
    command->add_option("--max-connections", options->maxConnections, "connections at a time")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    command->add_option("--mtu", options->packetSize, "packet size in bytes")
        ->check(CLI::Range(576, 65000))
        ->capture_default_str();
    addVerifyCacheOptions(*command, options->verifyCache);
    command->add_flag("-v,--verbose", options->verbose, "log connections and details too");
    command->callback([options, &global, &exitCode] { exitCode = serve(*options, global); });
}

} // namespace VESK::Host
