#include "host/client/connect_errors.h"

#include "host/text.h"

namespace VESK::Host
{

namespace
{

QString serverName(const ConnectFailure &failure, const RemoteAddress &remote)
{
    const QString host = escaped(remote.host);
    const QString address = failure.address.hostText();
    return host == address ? host : QStringLiteral("%1 (%2)").arg(host, address);
}

} // namespace

Failure connectFailure(const ConnectFailure &failure, const RemoteAddress &remote)
{
    using Kind = ConnectFailure::Kind;
    const QString port = QString::number(remote.port);
    const QString host = escaped(remote.host);
    const QString server =
        failure.kind == Kind::NotResolved ? escaped(remote.host) : serverName(failure, remote);
    switch (failure.kind) {
    case Kind::NotResolved:
        return {ExitCode::Unreachable,
                QStringLiteral("%1 has no address: %2").arg(server, failure.detail),
                {QStringLiteral("Is the name of the server spelled right? `getent hosts %1` asks the system.")
                     .arg(server)},
                QStringLiteral("NotResolved")};
    case Kind::Refused:
        return {ExitCode::Unreachable,
                QStringLiteral("%1 refuses connections on UDP port %2").arg(server, port),
                {QStringLiteral("The machine is up, but no server listens there. On it: vesk serve DIR"),
                 QStringLiteral("A server that listens on another port is reached with --port.")},
                QStringLiteral("PortRefused")};
    case Kind::NoRoute:
        return {ExitCode::Unreachable,
                QStringLiteral("%1 cannot be reached: %2").arg(server, failure.detail),
                {QStringLiteral("Is this machine's network up, and the address right?"),
                 QStringLiteral("`vesk doctor %1` tests the path step by step.").arg(host)},
                QStringLiteral("NoRoute")};
    case Kind::NoAnswer:
        return {
            ExitCode::Unreachable,
            QStringLiteral("no answer from %1 on UDP port %2 within %3")
                .arg(server, port, durationText(failure.seconds)),
            {QStringLiteral("The address exists and did not refuse: most likely a firewall drops UDP %1.")
                 .arg(port),
             QStringLiteral("On the server: sudo ufw allow %1/udp     In clouds: add an inbound UDP rule.")
                 .arg(port),
             QStringLiteral("`vesk doctor %1` tests the path step by step.").arg(host)},
            QStringLiteral("NoAnswer")};
    case Kind::Rejected:
        return {ExitCode::Unreachable,
                QStringLiteral("%1 takes no further connection").arg(server),
                {QStringLiteral("It is busy, or speaks another version; try again later.")},
                QStringLiteral("Rejected")};
    case Kind::Unusable:
        return {ExitCode::Unreachable,
                QStringLiteral("%1 wants packets of an absurd size").arg(server),
                {QStringLiteral("What answers on UDP port %1 is no server of this program.").arg(port)},
                QStringLiteral("NotAServer")};
    case Kind::Local:
        break;
    }
    return {ExitCode::Unreachable,
            QStringLiteral("cannot open a connection to %1: %2").arg(server, failure.detail),
            {QStringLiteral(
                "That is this machine's doing: often the limit of open files (ulimit -n), or memory.")},
            QStringLiteral("LocalNetwork")};
}

} // namespace VESK::Host
