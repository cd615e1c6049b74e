#include "host/client/client_options.h"

#include "host/congestion_option.h"
#include "host/duration_option.h"
#include "host/errors.h"
#include "host/event_writer.h"
#include "host/text.h"
#include "host/user.h"

#include <map>

namespace VESK::Host
{

namespace
{

const char *const connectionGroup = "Connection";
const char *const outputGroup = "Output";

} // namespace

const std::vector<std::string> &verificationModes()
{
    static const std::vector<std::string> modes = {"xxh128", "sha256", "quick", "none"};
    return modes;
}

void addConnectionOptions(CLI::App &command, ClientOptions &options)
{
    command.add_option("-p,--port", options.port, "UDP port of the server (default 8375)")
        ->check(CLI::Range(1, 65535))
        ->group(connectionGroup);
    command.add_option("--user", options.user, "user name told to the server (default: login name)")
        ->type_name("NAME")
        ->group(connectionGroup);
    command
        .add_option("--token-file", options.tokenFile,
                    "the server's token (default: ~/.config/vesk/tokens/HOST, then ~/.config/vesk/token)")
        ->type_name("FILE")
        ->group(connectionGroup);
    command.add_option("--retries", options.retries, "new connections for a file after a lost one")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str()
        ->group(connectionGroup);
    command.add_option("--retry-wait", options.retryWaitSeconds, "before the first of them; then doubled")
        ->default_str("0.5s")
        ->transform(durationInSeconds())
        ->check(CLI::Range(0.0, 86400.0))
        ->type_name("TIME")
        ->group(connectionGroup);
    command.add_option("--stall-timeout", options.stallSeconds, "no progress for so long ends a connection")
        ->default_str("30s")
        ->transform(durationInSeconds())
        ->check(CLI::Range(0.1, 86400.0))
        ->type_name("TIME")
        ->group(connectionGroup);
    command.add_option("--mtu", options.packetSize, "packet size in bytes")
        ->check(CLI::Range(576, 65000))
        ->capture_default_str()
        ->group(connectionGroup);
    addCongestionOption(command, options.congestion)->group(connectionGroup);
    CLI::Option *ipv4 = command.add_flag("-4,--ipv4", options.ipv4, "use IPv4 only")->group(connectionGroup);
    command.add_flag("-6,--ipv6", options.ipv6, "use IPv6 only")->excludes(ipv4)->group(connectionGroup);
    command.add_flag("-q,--quiet", options.quiet, "say nothing but errors")->group(outputGroup);
    command.add_flag("-v,--verbose", options.verbose, "a line for every file, and the handler's log")
        ->group(outputGroup);
    command.add_flag("--json", options.json, "write lines of JSON to stdout")->group(outputGroup);
    addOutputOptions(command, options.output);
}

void addTransferOptions(CLI::App &command, ClientOptions &options)
{
    command.add_flag("-r,--recursive", options.recursive, "directories, with all that is in them");
    command.add_option("--verify", options.verify, "xxh128, sha256, quick or none")
        ->check(CLI::IsMember(verificationModes()))
        ->capture_default_str()
        ->type_name("MODE");
    addVerifyCacheOptions(command, options.verifyCache);
    addRunOptions(command, options.transfer);
    command.add_option("--progress", options.progress, "auto, bar, line or none")
        ->check(CLI::IsMember({"auto", "bar", "line", "none"}))
        ->capture_default_str()
        ->type_name("FORM")
        ->group(outputGroup);
}

ClientSettings clientSettings(const ClientOptions &options)
{
    ClientSettings settings;
    if (options.ipv4 != options.ipv6)
        settings.family = options.ipv4 ? AddressFamily::Ipv4 : AddressFamily::Ipv6;
    settings.transport.packetSize = options.packetSize;
    settings.transport.congestion = options.congestion;
    static const std::map<std::string, QString> modes = {
        {"xxh128", QStringLiteral("xxh128")},
        {"sha256", QStringLiteral("sha256")},
        {"quick", QStringLiteral("fileattr")},
        {"none", QStringLiteral("false")},
    };
    settings.verifyMode = modes.at(options.verify);
    settings.tokenFile = givenFileName(options.tokenFile);
    settings.retries = options.retries;
    settings.retryWaitSeconds = options.retryWaitSeconds;
    settings.stallSeconds = options.stallSeconds;
    options.transfer.apply(settings);
    settings.namesEachFile = options.verbose;
    settings.writesEvents = options.json;
    return settings;
}

ProgressStyle progressStyle(const ClientOptions &options)
{
    if (options.quiet || options.progress == "none")
        return ProgressStyle::None;
    if (options.progress == "bar")
        return ProgressStyle::Bar;
    return options.progress == "line" ? ProgressStyle::Line : ProgressStyle::Auto;
}

std::optional<RemoteAddress> settleRemote(const std::string &text, const ClientOptions &options,
                                          QString *error, const QString &shown)
{
    const QString place = QString::fromStdString(text);
    std::optional<RemoteAddress> remote = parseRemoteAddress(place, error);
    if (!remote) {
        *error = QStringLiteral("%1: %2").arg(shown.isEmpty() ? escaped(place) : shown, *error);
        return std::nullopt;
    }
    if (options.port != 0 || remote->port == 0)
        remote->port = options.port != 0 ? options.port : defaultPort;
    if (!options.user.empty())
        remote->user = QString::fromStdString(options.user);
    if (remote->user.isEmpty())
        remote->user = loginName();
    return remote;
}

bool isRemotePlace(const std::string &text)
{
    QString error;
    return parseRemoteAddress(QString::fromStdString(text), &error).has_value();
}

std::optional<Selection> settleSelection(const ClientOptions &options, const CLI::App &command,
                                         QString *error)
{
    std::optional<Selection> selection = options.transfer.selection(command, error);
    if (!selection)
        return std::nullopt;
    selection->isRecursive = options.recursive;
    selection->explainsAsEvents = options.json;
    return selection;
}

int usageError(const QString &verb, const QString &what)
{
    return tellFailure({ExitCode::Usage, what, {QStringLiteral("vesk %1 --help shows examples.").arg(verb)}});
}

} // namespace VESK::Host
