#include "host/doctor/path_checks.h"

#include "host/client/connect_errors.h"
#include "host/doctor/hello_checks.h"
#include "host/doctor/packet_probe.h"
#include "host/text.h"

#include <array>

namespace VESK::Host
{

namespace
{

using Grade = Finding::Grade;

// What common tunnels leave of 1500, and what every line must carry, from the largest.
constexpr std::array<int, 6> smallerPackets = {1350, 1280, 1200, 1000, 800, 576};
constexpr int largePackets = 4000; // from here on another packet size is worth the trouble
constexpr int largestSensible = 9000;

// What a failed command would advise, as lines; not to run what is running.
QStringList linesOf(const QStringList &hints)
{
    QStringList lines;
    for (const QString &hint : hints) {
        if (!hint.contains(QLatin1String("vesk doctor")))
            lines << (hint.endsWith(QLatin1Char('.')) ? hint.chopped(1) : hint);
    }
    return lines;
}

Finding unreachable(const char *check, const ConnectFailure &failure, const RemoteAddress &remote)
{
    const Failure told = connectFailure(failure, remote);
    return {QString::fromLatin1(check), Grade::Unreachable, told.what, linesOf(told.hints)};
}

Finding nameFinding(const RemoteAddress &remote, const std::vector<SocketAddress> &addresses)
{
    QStringList texts;
    for (const SocketAddress &address : addresses)
        texts << address.hostText();
    const QString known = texts.join(QStringLiteral(", "));
    const QString text = known == remote.host
        ? QStringLiteral("%1 is an address").arg(known)
        : QStringLiteral("%1 stands for %2").arg(escaped(remote.host), known);
    return {QStringLiteral("name"), Grade::Good, text, {}};
}

Finding reachFinding(const SocketAddress &address, const std::vector<Finding> &failed)
{
    const QString text =
        QStringLiteral("%1 answers on UDP port %2").arg(address.hostText(), QString::number(address.port()));
    if (failed.empty())
        return {QStringLiteral("reach"), Grade::Good, text, {}};
    return {QStringLiteral("reach"),
            Grade::Slow,
            QStringLiteral("%1, but before it is tried, %2").arg(text, failed.front().text),
            {address.family() == AF_INET6 ? QStringLiteral("use IPv6 only: -6")
                                          : QStringLiteral("use IPv4 only: -4")}};
}

Finding packetsFinding(const SocketAddress &address, int packetSize)
{
    PacketProbe probe(address);
    PacketFacts facts;
    facts.wanted = packetSize;
    facts.pathLimit = probe.pathLimit();
    std::optional<PacketProbe::Trial> trial = probe.send(packetSize);
    facts.agreed = trial ? trial->size : 0;
    for (auto size = smallerPackets.begin(); trial && !trial->arrives && size != smallerPackets.end();
         ++size) {
        if (*size < facts.agreed)
            trial = probe.send(*size);
    }
    if (trial && trial->arrives)
        facts.largestThatPassed = trial->size;
    return judgePackets(facts);
}

} // namespace

Finding judgePackets(const PacketFacts &facts)
{
    const QString check = QStringLiteral("packets");
    if (facts.agreed == 0)
        return {check,
                Grade::Slow,
                QStringLiteral("the server took one connection and no further one"),
                {QStringLiteral("vesk serve --max-connections N, on the server")}};
    if (facts.largestThatPassed == 0)
        return {check,
                Grade::Unreachable,
                QStringLiteral("no packet of data gets to the server, whatever its size, though connections "
                               "are made"),
                {QStringLiteral("look for a firewall that lets only small or few packets pass")}};
    const QString passes = QStringLiteral("packets of %1 bytes pass").arg(facts.largestThatPassed);
    if (facts.largestThatPassed < facts.agreed)
        return {check,
                Grade::Slow,
                QStringLiteral("packets of %1 bytes vanish on the way, %2")
                    .arg(QString::number(facts.agreed), passes),
                {QStringLiteral("use --mtu %1, here or on the server").arg(facts.largestThatPassed)}};
    if (facts.pathLimit >= largePackets && facts.pathLimit > facts.agreed)
        return {check,
                Grade::Note,
                QStringLiteral("%1; the way carries %2 bytes, which would be faster where the processor is "
                               "the limit")
                    .arg(passes, QString::number(facts.pathLimit)),
                {QStringLiteral("use --mtu %1, here and on the server")
                     .arg(qMin(facts.pathLimit, largestSensible))}};
    const QString limit =
        facts.pathLimit > 0 ? QStringLiteral("; the way carries %1 bytes").arg(facts.pathLimit) : QString();
    return {check, Grade::Good, passes + limit, {}};
}

void checkPath(const RemoteAddress &remote, AddressFamily family, int packetSize, const Visitor &visitor,
               const std::function<void(const Finding &)> &tell)
{
    ConnectFailure failure;
    const auto addresses = SocketAddress::resolve(remote.host, remote.port, family, &failure.detail);
    if (addresses.empty()) {
        failure.kind = ConnectFailure::Kind::NotResolved;
        return tell(unreachable("name", failure, remote));
    }
    tell(nameFinding(remote, addresses));

    Connector connector{TransportOptions()};
    std::vector<Finding> failed;
    for (const SocketAddress &address : addresses) {
        UdtSocket socket = connector.connect(address, &failure);
        if (!socket.isValid()) {
            failed.push_back(unreachable("reach", failure, remote));
            continue;
        }
        tell(reachFinding(address, failed));
        const std::vector<Finding> greeted = checkHello(socket.id(), visitor, remote);
        for (const Finding &finding : greeted)
            tell(finding);
        socket.close();
        tell(packetsFinding(address, packetSize));
        return;
    }
    for (const Finding &finding : failed)
        tell(finding);
}

} // namespace VESK::Host
