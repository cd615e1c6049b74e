#include "host/doctor/doctor_command.h"

#include "host/client/client_options.h"
#include "host/doctor/local_checks.h"
#include "host/doctor/path_checks.h"
#include "host/event_writer.h"
#include "host/module_locator.h"
#include "host/signals.h"
#include "host/text.h"
#include "transport/udt_library.h"

#include <unistd.h>

#include <csignal>
#include <memory>

namespace VESK::Host
{

namespace
{

struct DoctorOptions {
    std::string server; // HOST, HOST:SHARE, vesk://HOST[:PORT][/SHARE], or empty
    std::string directory;
    ClientOptions client; // those of its options that this verb has
};

// A name alone, without a share, is no place on a server.
std::string asPlace(const std::string &server)
{
    const std::string scheme = "vesk://";
    if (server.rfind(scheme, 0) == 0)
        return server.find('/', scheme.size()) == std::string::npos ? server + "/-" : server;
    const std::size_t bracket = server.find(']');
    const std::size_t colon = server.find(':', bracket == std::string::npos ? 0 : bracket);
    return colon == std::string::npos ? server + ":-" : server;
}

class Doctor
{
public:
    Doctor(const DoctorOptions &options, const GlobalOptions &global)
        : m_options(options)
        , m_global(global)
    {
    }

    int examine(const std::optional<RemoteAddress> &remote)
    {
        if (m_options.client.json)
            writeStartEvent(QStringLiteral("doctor"));
        if (remote) {
            QString error; // is told by a check of its own
            m_module = loadModule(QString::fromStdString(m_global.module), &error);
            const UdtLibrary library;
            checkPath(*remote, clientSettings(m_options.client).family, m_options.client.packetSize,
                      visitor(*remote), [this](const Finding &finding) { tell(finding); });
        }
        tell(checkKernelBuffers());
        tell(checkOpenFiles());
        tell(checkModule(QString::fromStdString(m_global.module)));
        const bool isNamed = !m_options.directory.empty();
        const QString directory = isNamed ? givenFileName(m_options.directory) : QStringLiteral(".");
        tell(checkDisk(directory));
        if (isNamed)
            tell(checkLinks(directory));
        return finish();
    }

private:
    Visitor visitor(const RemoteAddress &remote) const
    {
        const ClientSettings settings = clientSettings(m_options.client);
        Visitor visitor;
        visitor.user = remote.user;
        visitor.host = remote.host;
        visitor.tokenFile = settings.tokenFile;
        visitor.verifyMode = settings.verifyMode;
        if (m_module)
            visitor.moduleKey = m_module->createHandler()->getKey();
        return visitor;
    }

    void tell(const Finding &finding)
    {
        m_findings.push_back(finding);
        if (m_options.client.json)
            writeEventLine(QStringLiteral("finding"), findingFields(finding));
        else
            writeStdout(findingText(finding));
    }

    int finish() const
    {
        const Finding::Grade worst = worstGrade(m_findings);
        ExitCode code = ExitCode::Success;
        if (worst == Finding::Grade::Slow)
            code = ExitCode::Partial;
        else if (worst == Finding::Grade::Unreachable)
            code = ExitCode::Unreachable;
        if (m_options.client.json)
            writeEventLine(QStringLiteral("summary"),
                           {{QStringLiteral("findings"), static_cast<int>(m_findings.size())},
                            {QStringLiteral("worst"), gradeWord(worst)},
                            {QStringLiteral("exitCode"), number(code)}});
        return number(code);
    }

    const DoctorOptions &m_options;
    const GlobalOptions &m_global;
    std::unique_ptr<Module> m_module; // null when it cannot be loaded, or is not needed
    std::vector<Finding> m_findings;
};

int doctor(const DoctorOptions &options, const GlobalOptions &global)
{
    std::optional<RemoteAddress> remote;
    if (!options.server.empty()) {
        QString error;
        remote = settleRemote(asPlace(options.server), options.client, &error);
        if (!remote)
            return usageError(QStringLiteral("doctor"), error);
    }
    // It changes nothing, so that it may end anywhere.
    const SignalWatcher watcher([](int signal) {
        ::_exit(number(signal == SIGTERM ? ExitCode::Terminated : ExitCode::Interrupted));
    });
    return Doctor(options, global).examine(remote);
}

} // namespace

void addDoctorCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<DoctorOptions>();
    ClientOptions &client = options->client;
    CLI::App *command = app.add_subcommand(
        "doctor",
        "Examples:\n"
        "  vesk doctor                            this machine alone\n"
        "  vesk doctor nas.example.org            and the way to a server\n"
        "  vesk doctor nas --dir /srv/raw         and a directory for downloads\n\n"
        "Looks for what would make transfers slow or fail, here and on the way to a server. Below each "
        "finding stands what mends it.");
    command->add_option("SERVER", options->server, "HOST[:SHARE] or vesk://HOST[:PORT]");
    command->add_option("--dir", options->directory, "a directory of this machine that transfers are to use")
        ->type_name("DIR");
    command->add_option("-p,--port", client.port, "UDP port of the server (default 8375)")
        ->check(CLI::Range(1, 65535));
    command->add_option("--mtu", client.packetSize, "packet size in bytes to begin with")
        ->check(CLI::Range(576, 65000))
        ->capture_default_str();
    command->add_option("--user", client.user, "user name told to the server (default: login name)")
        ->type_name("NAME");
    command->add_option("--token-file", client.tokenFile, "the server's token")->type_name("FILE");
    CLI::Option *ipv4 = command->add_flag("-4,--ipv4", client.ipv4, "use IPv4 only");
    command->add_flag("-6,--ipv6", client.ipv6, "use IPv6 only")->excludes(ipv4);
    command->add_flag("--json", client.json, "write lines of JSON to stdout");
    command->callback([options, &global, &exitCode] { exitCode = doctor(*options, global); });
}

} // namespace VESK::Host
