#include "host/client/ping_command.h"

#include "host/client/client_program.h"
#include "host/client/connect_errors.h"
#include "host/client/greeting.h"
#include "host/client/ping_report.h"
#include "host/client/ping_sample.h"
#include "host/client/run_report.h"
#include "host/error_type.h"
#include "host/event_writer.h"
#include "host/text.h"

#include "vesk_base/message_channel.h"

#include <algorithm>
#include <memory>

namespace VESK::Host
{

namespace
{

constexpr int deliverySeconds = 3; // for the last message to reach the server
constexpr double patienceSeconds = 20; // for all samples together, at the least
constexpr double patiencePerSample = 2; // seconds

struct PingOptions : ClientOptions {
    std::string place;
    int count = 5;
};

/// The server that is meant, with or without a share.
std::optional<RemoteAddress> settleServer(const PingOptions &options, QString *error)
{
    if (std::optional<RemoteAddress> remote = settleRemote(options.place, options, error))
        return remote;
    const bool isUrl = options.place.rfind("vesk://", 0) == 0;
    const std::string inShare = options.place + (isUrl ? "/share" : ":share"); // an address as others have it
    const QString shown = QStringLiteral("\"%1\"").arg(escaped(options.place));
    std::optional<RemoteAddress> remote = settleRemote(inShare, options, error, shown);
    if (remote)
        remote->share.clear();
    return remote;
}

/// One `vesk ping`, told from top to bottom by `run`.
class Pinging
{
public:
    Pinging(const ClientContext &context, const RemoteAddress &remote, int count)
        : m_context(context)
        , m_remote(remote)
        , m_count(count)
        , m_connector(context.settings.transport)
        , m_report(context, Direction::None)
    {
    }

    ExitCode run()
    {
        if (connect() && takeSamples() && findShare())
            tell();
        leave();
        return m_report.finish().exitCode;
    }

private:
    bool connect()
    {
        ConnectFailure failure;
        m_socket = m_connector.connect(m_remote.host, m_remote.port, m_context.settings.family, &failure);
        if (!m_socket.isValid())
            return fail(connectFailure(failure, m_remote));
        m_result.address = m_socket.peerAddress();
        m_result.packetSize = negotiatedPacketSize(m_socket.id());
        GreetingFailure unwelcome;
        const std::optional<Welcome> welcome = greet(m_socket.id(), m_context, m_remote, &unwelcome);
        if (!welcome)
            return fail(unwelcome.failure);
        m_result.welcome = *welcome;
        return true;
    }

    bool takeSamples()
    {
        const UDTSOCKET socket = m_socket.id();
        const Interruption::StopAction onSignal(m_context.interruption,
                                                [socket] { (void)UDT::close(socket); });
        MessageChannel channel(socket);
        const double patience = std::max(patienceSeconds, patiencePerSample * m_count);
        channel.limit(maxHelloBytes,
                      std::chrono::steady_clock::now()
                          + std::chrono::seconds(static_cast<std::int64_t>(patience)));
        for (int i = 0; i < m_count; ++i) {
            const std::optional<PingSample> sample = takeSample(channel);
            if (!sample)
                return fail({ExitCode::Unreachable,
                             QStringLiteral("%1 said hello, but does not answer").arg(escaped(m_remote.host)),
                             {QStringLiteral("It may be overloaded; its log says more.")}});
            m_result.samples.push_back(*sample);
        }
        return true;
    }

    bool findShare()
    {
        const auto &shares = m_result.welcome.shares;
        const bool isThere = m_remote.share.isEmpty()
            || std::any_of(shares.begin(), shares.end(),
                           [&](const auto &share) { return share.name == m_remote.share; });
        return isThere
            || fail(refusalFailure(escaped(m_remote.host), m_remote.share, ErrorType::noSuchShare()));
    }

    void tell() const
    {
        if (m_context.settings.writesEvents)
            writeEventLine(QStringLiteral("ping"), pingFields(m_result, m_remote));
        else
            writeStdout(pingText(m_result, m_remote));
    }

    // Without the word the server would wait until it takes us for dead.
    void leave()
    {
        if (!m_socket.isConnected())
            return;
        setLinger(m_socket.id(), deliverySeconds);
        MessageChannel channel(m_socket.id());
        const ParamMap farewell = {{QStringLiteral("operator"), QStringLiteral("return")}};
        (void)channel.send(number(MessageKind::TaskParam),
                           VeskBase::serializeParam(farewell)); // all is told already
    }

    bool fail(const Failure &failure)
    {
        if (!m_context.interruption.isRaised())
            m_report.addFailure(failure);
        return false;
    }

    const ClientContext m_context;
    const RemoteAddress m_remote;
    const int m_count;
    Connector m_connector;
    UdtSocket m_socket;
    RunReport m_report;
    PingResult m_result;
};

int ping(const PingOptions &options, const GlobalOptions &global)
{
    const QString verb = QStringLiteral("ping");
    QString error;
    const std::optional<RemoteAddress> remote = settleServer(options, &error);
    if (!remote)
        return usageError(verb, error);
    return runClient(verb, options, global, [&](const ClientContext &context) {
        return Pinging(context, *remote, options.count).run();
    });
}

} // namespace

void addPingCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<PingOptions>();
    options->progress = "none"; // nothing moves
    CLI::App *command = app.add_subcommand(
        "ping",
        "Examples:\n"
        "  vesk ping nas.example.org\n"
        "  vesk ping nas:incoming -c 20\n"
        "  vesk ping vesk://10.8.0.1:9000 --json\n\n"
        "Says whether a server can be reached and trusted, how far away it is, and what it offers.");
    command->add_option("SERVER", options->place, "HOST, HOST:SHARE or vesk://HOST[:PORT][/SHARE]")
        ->required();
    command->add_option("-c,--count", options->count, "round trips to take")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    addConnectionOptions(*command, *options);
    command->callback([options, &global, &exitCode] { exitCode = ping(*options, global); });
}

} // namespace VESK::Host
