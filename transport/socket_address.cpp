#include "transport/socket_address.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace VESK
{

namespace
{

int systemFamily(AddressFamily family)
{
    switch (family) {
    case AddressFamily::Ipv4:
        return AF_INET;
    case AddressFamily::Ipv6:
        return AF_INET6;
    case AddressFamily::Any:
        break;
    }
    return AF_UNSPEC;
}

} // namespace

SocketAddress::SocketAddress(const sockaddr *address, socklen_t size)
    : m_size(std::min<socklen_t>(size, sizeof(m_storage)))
{
    std::memcpy(&m_storage, address, m_size);
}

std::vector<SocketAddress> SocketAddress::resolve(const QString &host, quint16 port, AddressFamily family,
                                                  QString *error)
{
    addrinfo hints{};
    hints.ai_family = systemFamily(family);
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo *list = nullptr;
    const int result =
        getaddrinfo(host.toUtf8().constData(), QByteArray::number(port).constData(), &hints, &list);
    if (result != 0) {
        *error = QString::fromLocal8Bit(gai_strerror(result));
        return {};
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, &freeaddrinfo);
    std::vector<SocketAddress> addresses;
    for (const addrinfo *entry = list; entry; entry = entry->ai_next)
        addresses.emplace_back(entry->ai_addr, entry->ai_addrlen);
    return addresses;
}

SocketAddress SocketAddress::any(int family)
{
    sockaddr_storage storage{};
    storage.ss_family = static_cast<sa_family_t>(family);
    const socklen_t size = family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    return SocketAddress(reinterpret_cast<const sockaddr *>(&storage), size);
}

quint16 SocketAddress::port() const
{
    if (family() == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6 *>(&m_storage)->sin6_port);
    return ntohs(reinterpret_cast<const sockaddr_in *>(&m_storage)->sin_port);
}

void SocketAddress::setPort(quint16 port)
{
    if (family() == AF_INET6)
        reinterpret_cast<sockaddr_in6 *>(&m_storage)->sin6_port = htons(port);
    else
        reinterpret_cast<sockaddr_in *>(&m_storage)->sin_port = htons(port);
}

bool SocketAddress::isLoopback() const
{
    if (family() == AF_INET6) {
        const in6_addr &address = reinterpret_cast<const sockaddr_in6 *>(&m_storage)->sin6_addr;
        return std::memcmp(&address, &in6addr_loopback, sizeof(address)) == 0;
    }
    const in_addr_t address = ntohl(reinterpret_cast<const sockaddr_in *>(&m_storage)->sin_addr.s_addr);
    return address >> 24 == IN_LOOPBACKNET;
}

QString SocketAddress::hostText() const
{
    std::array<char, INET6_ADDRSTRLEN> buffer{};
    const void *source = &reinterpret_cast<const sockaddr_in *>(&m_storage)->sin_addr;
    if (family() == AF_INET6)
        source = &reinterpret_cast<const sockaddr_in6 *>(&m_storage)->sin6_addr;
    const char *text = inet_ntop(family(), source, buffer.data(), static_cast<socklen_t>(buffer.size()));
    return text ? QString::fromLatin1(text) : QStringLiteral("?");
}

QString SocketAddress::text() const
{
    const QString host = family() == AF_INET6 ? QStringLiteral("[%1]").arg(hostText()) : hostText();
    return QStringLiteral("%1:%2").arg(host, QString::number(port()));
}

} // namespace VESK
