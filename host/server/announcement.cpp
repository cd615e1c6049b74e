#include "host/server/announcement.h"

#include "host/address.h"
#include "host/text.h"
#include "host/user.h"

#include <QtCore/QSysInfo>

#include <netinet/in.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

namespace VESK::Host
{

namespace
{

// Addresses that documents reserve for examples: nothing is ever sent there.
const QString exampleAddress4 = QStringLiteral("192.0.2.1");
const QString exampleAddress6 = QStringLiteral("2001:db8::1");

bool isWildcard(const SocketAddress &address)
{
    return address.hostText() == SocketAddress::any(address.family()).hostText();
}

// The address that this machine's packets to the rest of the world bear; invalid when there is none.
// Connecting a UDP socket asks the routing table, and sends nothing.
std::optional<SocketAddress> outwardAddress(int family)
{
    QString error;
    const auto addresses =
        SocketAddress::resolve(family == AF_INET6 ? exampleAddress6 : exampleAddress4, 9,
                               family == AF_INET6 ? AddressFamily::Ipv6 : AddressFamily::Ipv4, &error);
    const int descriptor = addresses.empty() ? -1 : ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return std::nullopt;
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    const bool isKnown = ::connect(descriptor, addresses.front().data(), addresses.front().size()) == 0
        && ::getsockname(descriptor, reinterpret_cast<sockaddr *>(&storage), &size) == 0;
    ::close(descriptor);
    if (!isKnown)
        return std::nullopt;
    return SocketAddress(reinterpret_cast<const sockaddr *>(&storage), size);
}

// How others call this machine, as well as it can tell.
QString hostSeenFromOutside(const SocketAddress &listening)
{
    if (!isWildcard(listening))
        return listening.hostText();
    const std::optional<SocketAddress> outward = outwardAddress(listening.family());
    return outward ? outward->hostText() : QSysInfo::machineHostName();
}

QString bracketed(const QString &host)
{
    return host.contains(QLatin1Char(':')) ? QStringLiteral("[%1]").arg(host) : host;
}

// As a shell takes it for one word.
QString quoted(const QString &word)
{
    static const QString plain = QStringLiteral("_-.:/@");
    const bool isPlain = std::all_of(word.begin(), word.end(), [](QChar character) {
        return (character.unicode() < 128 && character.isLetterOrNumber()) || plain.contains(character);
    });
    if (isPlain)
        return word;
    return QLatin1Char('\'') + QString(word).replace(QLatin1Char('\''), QLatin1String("'\\''"))
        + QLatin1Char('\'');
}

QString exampleCommand(const Share &share, const QString &host, quint16 port)
{
    const QString place = port == defaultPort
        ? QStringLiteral("%1:%2").arg(bracketed(host), share.name)
        : QStringLiteral("vesk://%1:%2/%3").arg(bracketed(host), QString::number(port), share.name);
    return share.rights.mayWrite ? QStringLiteral("vesk put FILE %1").arg(quoted(place))
                                 : QStringLiteral("vesk get -r %1 .").arg(quoted(place));
}

QString tokenLines(const Announcement &announcement, const QString &host)
{
    const QString file = escaped(announcement.tokenFile);
    const QString made = announcement.tokenIsNew ? QStringLiteral(" (made just now)") : QString();
    QString text = QStringLiteral("  token: %1%2; who has it may connect\n").arg(file, made);
    if (announcement.address.isLoopback())
        return text;
    return text
        + QStringLiteral("  on the other machine, once:\n"
                         "    mkdir -p -m 700 ~/.config/vesk/tokens\n"
                         "    scp %1 ~/.config/vesk/tokens/%2\n")
              .arg(quoted(
                       QStringLiteral("%1@%2:%3").arg(accountForCopying(::getuid()), bracketed(host), file)),
                   host);
}

} // namespace

QString announcementText(const ServerSettings &settings, const Announcement &announcement)
{
    const SocketAddress &address = announcement.address;
    QString text;
    for (const Share &share : settings.shares)
        text += QStringLiteral("serving %1 (%2, %3) on %4\n")
                    .arg(share.name, escaped(share.directory), rightsText(share.rights), address.text());
    const QString host = hostSeenFromOutside(address);
    if (address.isLoopback())
        text += QStringLiteral("  only this machine gets there; --listen ADDRESS lets others in\n");
    if (announcement.tokenFile.isEmpty())
        text += QStringLiteral("  no token: whoever reaches the port may use the shares\n");
    else
        text += tokenLines(announcement, host);
    text += QStringLiteral("  then: %1\n").arg(exampleCommand(settings.shares.front(), host, address.port()));
    if (!address.isLoopback())
        text +=
            QStringLiteral("  Data is not encrypted: anybody on the way can read it. docs/security.md has a "
                           "recipe for WireGuard.\n");
    return text;
}

} // namespace VESK::Host
