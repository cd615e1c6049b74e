#include "host/server/serve_settings.h"

#include "host/address.h"
#include "host/bytes_option.h"
#include "host/congestion_option.h"
#include "host/duration_option.h"
#include "host/quantity.h"
#include "host/server/partial_files.h"
#include "host/text.h"
#include "transport/private_network.h"

#include <QtCore/QFileInfo>

namespace VESK::Host
{

namespace
{

Failure usage(const QString &what, const QStringList &hints = {})
{
    return {ExitCode::Usage, what, hints};
}

constexpr double longestDrain = 86400; // seconds

bool parseMode(const std::string &text, int *mode)
{
    bool ok = false;
    *mode = QString::fromStdString(text).toInt(&ok, 8);
    return ok && *mode > 0 && *mode <= 07777;
}

bool addNamed(const std::string &text, ServerSettings *settings, Failure *failure)
{
    QString error;
    const std::optional<Share> share = parseShare(givenFileName(text), &error);
    if (!share) {
        *failure = usage(QStringLiteral("--share %1: %2").arg(escaped(givenFileName(text)), error));
        return false;
    }
    settings->shares.push_back(*share);
    return true;
}

bool addDirectory(const ServeOptions &options, ServerSettings *settings, Failure *failure)
{
    Share share = shareOfDirectory(givenFileName(options.directory));
    if (!options.name.empty())
        share.name = QString::fromStdString(options.name);
    const QString fault = findNameFault(share.name);
    if (!fault.isEmpty()) {
        *failure = usage(fault, {QStringLiteral("--name gives it another.")});
        return false;
    }
    settings->shares.push_back(share);
    return true;
}

bool checkShares(const ServerSettings &settings, Failure *failure)
{
    for (const Share &share : settings.shares) {
        if (!QFileInfo(share.directory).isDir()) {
            *failure = usage(QStringLiteral("%1 is not a directory").arg(escaped(share.directory)));
            return false;
        }
        if (settings.findShare(share.name) != &share) {
            *failure = usage(QStringLiteral("two shares bear the name \"%1\"").arg(escaped(share.name)),
                             {QStringLiteral("--name names that of DIR, --share NAME=DIR each other.")});
            return false;
        }
    }
    return true;
}

void addShareOptions(CLI::App &command, ServeOptions &options)
{
    command.add_option("DIR", options.directory, "a directory to serve; its share bears its name");
    command.add_option("--name", options.name, "another name for the share of DIR")->type_name("NAME");
    command
        .add_option("--share", options.shares,
                    "NAME=DIR, with :r, :w or :rw behind it: what clients may do (default: both)")
        ->type_name("NAME=DIR[:RIGHTS]")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command.add_option("--listen", options.listen, "address and UDP port; port 0 takes a free one")
        ->capture_default_str()
        ->type_name("ADDRESS[:PORT]");
    command
        .add_option("--auth", options.auth,
                    "who may connect: those who know the token, or (\"none\") whoever reaches the port")
        ->check(CLI::IsMember({"token", "none"}))
        ->capture_default_str()
        ->type_name("METHOD");
    command
        .add_option("--token-file", options.tokenFile,
                    "where the token is; made when missing (default: ~/.config/vesk/token)")
        ->type_name("FILE");
    command.add_option("--file-mode", options.fileMode, "mode of received files")
        ->capture_default_str()
        ->type_name("MODE");
    command.add_option("--dir-mode", options.dirMode, "mode of directories that uploads go to")
        ->capture_default_str()
        ->type_name("MODE");
}

void addLimitOptions(CLI::App &command, ServeOptions &options)
{
    command.add_option("--max-connections", options.maxConnections, "connections at a time")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    command
        .add_option("--max-tasks-per-user", options.maxTasksPerUser,
                    "connections of one user at a time, each with one task (default: no limit)")
        ->check(CLI::Range(0, 10000));
    command.add_option("--min-free", options.minFree, "bytes that uploads leave free on the disk: 10G")
        ->check(byteCount());
    command
        .add_option("--partials-max-age", options.partialsMaxAgeSeconds,
                    "remove what interrupted uploads left when nobody went on with it for so long: 30d")
        ->transform(durationInSeconds())
        ->check(CLI::Range(shortestPartialAge, 1e9))
        ->type_name("TIME");
    command
        .add_option("--drain-time", options.drainSeconds,
                    "at the end, what runs may go on for so long before it is paused")
        ->default_str("10s")
        ->transform(durationInSeconds())
        ->check(CLI::Range(0.0, longestDrain))
        ->type_name("TIME");
}

void addReportOptions(CLI::App &command, ServeOptions &options)
{
    command.add_option("--on-done", options.onDone, "run it with the path of each file that was uploaded")
        ->type_name("PROGRAM");
    command
        .add_option("--metrics", options.metricsFile,
                    "keep counters for Prometheus there, as *.prom of a textfile collector")
        ->type_name("FILE");
    command.add_option("--log-format", options.logFormat, "text, or json: an object a line, with the time")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str()
        ->type_name("FORMAT");
    command.add_flag("-v,--verbose", options.verbose, "log connections and details too");
}

} // namespace

void addServeOptions(CLI::App &command, ServeOptions &options)
{
    addShareOptions(command, options);
    addLimitOptions(command, options);
    command.add_option("--mtu", options.packetSize, "packet size in bytes")
        ->check(CLI::Range(576, 65000))
        ->capture_default_str();
    addCongestionOption(command, options.congestion);
    addVerifyCacheOptions(command, options.verifyCache);
    addReportOptions(command, options);
}

std::optional<ServerSettings> serverSettings(const ServeOptions &options, Failure *failure)
{
    ServerSettings settings;
    settings.maxConnections = options.maxConnections;
    settings.maxTasksPerUser = options.maxTasksPerUser;
    settings.drainSeconds = options.drainSeconds;
    settings.partialsMaxAgeSeconds = options.partialsMaxAgeSeconds;
    if (options.directory.empty() && options.shares.empty()) {
        *failure = usage(QStringLiteral("there is nothing to serve; name a DIR, or give --share NAME=DIR"));
        return std::nullopt;
    }
    if (!options.directory.empty() && !addDirectory(options, &settings, failure))
        return std::nullopt;
    for (const std::string &share : options.shares) {
        if (!addNamed(share, &settings, failure))
            return std::nullopt;
    }
    int fileMode = 0;
    int dirMode = 0;
    if (!parseMode(options.fileMode, &fileMode) || !parseMode(options.dirMode, &dirMode)) {
        *failure = usage(QStringLiteral("a mode is an octal number such as 0640"));
        return std::nullopt;
    }
    const qint64 minFree = parseBytes(QString::fromStdString(options.minFree)).value_or(0);
    for (Share &share : settings.shares) {
        share.fileMode = fileMode;
        share.dirMode = dirMode;
        share.minFree = minFree;
    }
    if (!checkShares(settings, failure))
        return std::nullopt;
    return settings;
}

std::optional<SocketAddress> listenAddress(const ServeOptions &options, Failure *failure)
{
    QString error;
    const QString text = QString::fromStdString(options.listen);
    const std::optional<ListenAddress> wanted = parseListenAddress(text, &error);
    if (!wanted) {
        *failure = usage(QStringLiteral("--listen %1: %2").arg(escaped(text), error));
        return std::nullopt;
    }
    const auto addresses = SocketAddress::resolve(wanted->host, wanted->port, AddressFamily::Any, &error);
    if (addresses.empty()) {
        *failure = usage(QStringLiteral("--listen %1: %2").arg(escaped(text), error));
        return std::nullopt;
    }
    if (options.auth == "none" && !isPrivate(addresses.front())) {
        *failure =
            usage(QStringLiteral("--auth none on %1 lets everybody in").arg(addresses.front().text()),
                  {QStringLiteral("It is for loopback and for addresses of private networks, as of a tunnel; "
                                  "--listen names one."),
                   QStringLiteral("Elsewhere a token is asked for: --auth token.")});
        return std::nullopt;
    }
    return addresses.front();
}

} // namespace VESK::Host
