#pragma once

#include <QtCore/QString>

#include <sys/socket.h>

#include <vector>

namespace VESK
{

enum class AddressFamily { Any, Ipv4, Ipv6 };

/// One address and port of either family.
class SocketAddress
{
public:
    SocketAddress() = default;
    SocketAddress(const sockaddr *address, socklen_t size);

    /// Every address of `host`, in the system's order of preference. Empty on failure, with the system's
    /// reason in `error`. May ask a name server, and wait for it.
    static std::vector<SocketAddress> resolve(const QString &host, quint16 port, AddressFamily family,
                                              QString *error);

    /// The wildcard address of a family, port 0.
    static SocketAddress any(int family);

    const sockaddr *data() const { return reinterpret_cast<const sockaddr *>(&m_storage); }
    socklen_t size() const { return m_size; }
    int family() const { return m_storage.ss_family; }
    quint16 port() const;
    void setPort(quint16 port);
    bool isLoopback() const;

    /// The address alone, as in "127.0.0.1" or "::1".
    QString hostText() const;
    /// As in "127.0.0.1:8375" or "[::1]:8375".
    QString text() const;

private:
    sockaddr_storage m_storage{};
    socklen_t m_size = 0;
};

} // namespace VESK
