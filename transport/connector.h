#pragma once

#include "transport/udt_socket.h"

#include <atomic>
#include <map>
#include <mutex>
#include <vector>

namespace VESK
{

class PortProbe;

/// Why a connection could not be made.
struct ConnectFailure {
    enum class Kind {
        NotResolved, ///< the name has no address
        Refused, ///< the machine answers, but nobody listens on the port
        NoRoute, ///< the network says that the address cannot be reached
        NoAnswer, ///< silence
        Rejected, ///< a server is there and takes no further connection
        Unusable, ///< the peer asks for packets too small to be honest
        Local, ///< this machine could not open a socket
    };
    Kind kind = Kind::Local;
    QString detail; ///< the system's or the library's words; may be empty
    SocketAddress address; ///< the one that was tried last
    double seconds = 0; ///< spent on it
};

/// Makes client connections. All of one address family leave from one UDP port, which an idle socket
/// keeps bound for the connector's life: a port that dies while other threads open sockets can freeze the
/// library. Any thread, several at a time; outlives its connections.
class Connector
{
public:
    explicit Connector(const TransportOptions &options);
    ~Connector();
    Connector(const Connector &) = delete;
    Connector &operator=(const Connector &) = delete;

    /// A connected socket with the linger off, or an invalid one and the reason in `failure`. Waits some
    /// 3 s for an answer, and once more when none came.
    UdtSocket connect(const SocketAddress &address, ConnectFailure *failure);

    /// The same for the addresses of a host in turn.
    UdtSocket connect(const QString &host, quint16 port, AddressFamily family, ConnectFailure *failure);

private:
    bool bindToKeptPort(const UdtSocket &socket, int family, QString *error);
    bool connectSocket(UDTSOCKET socket, const SocketAddress &address, PortProbe *probe);
    UdtSocket tryOnce(const SocketAddress &address, PortProbe *probe, int *errorCode, QString *errorText);
    void abandon(UdtSocket socket);

    const TransportOptions m_options;
    std::atomic<bool> m_wasReached{false}; // anybody
    std::mutex m_waitMutex; // held by the thread that waits inside the library
    std::mutex m_portMutex; // guards m_keptPorts
    std::map<int, UdtSocket> m_keptPorts; // by address family; bound once, never changed
    std::mutex m_abandonedMutex; // guards the next
    std::vector<UdtSocket> m_abandoned; // never closed
};

} // namespace VESK
