#pragma once

#include "transport/socket_address.h"

#include <udt/udt.h>

namespace VESK
{

/// Who decides how fast to send.
enum class Congestion {
    Vesk, ///< this library, by docs/congestion.md
    Udt, ///< the UDT library's own control
};

/// What a socket is given before it is connected or listens. Sizes in bytes. The buffers bound the memory
/// that one end of a connection can take.
struct TransportOptions {
    int packetSize = 1400; ///< on the wire; tunnels such as WireGuard and PPPoE let it pass
    int udpSendBuffer = 1 << 20;
    int udpReceiveBuffer = 4 << 20; ///< the kernel cuts it to net.core.rmem_max
    int sendBuffer = 32 << 20;
    int receiveBuffer = 32 << 20;
    int flowWindow = 25600; ///< packets; no smaller than the receive buffer
    Congestion congestion = Congestion::Vesk; ///< for both directions; works best when both ends have it
};

/// Smallest packet size that a peer may ask for. The library divides by the payload that is left of it,
/// which a handshake can make 0.
constexpr int minPacketSize = 500;

/// Owns one UDT socket; closing is what its end does.
class UdtSocket
{
public:
    UdtSocket() = default;
    explicit UdtSocket(UDTSOCKET id)
        : m_id(id)
    {
    }
    ~UdtSocket() { close(); }
    UdtSocket(UdtSocket &&other) noexcept
        : m_id(other.release())
    {
    }
    UdtSocket &operator=(UdtSocket &&other) noexcept;
    UdtSocket(const UdtSocket &) = delete;
    UdtSocket &operator=(const UdtSocket &) = delete;

    /// A new stream socket with the options set and the linger off; invalid when the system refuses.
    static UdtSocket create(int family, const TransportOptions &options);

    UDTSOCKET id() const { return m_id; }
    bool isValid() const { return m_id != UDT::INVALID_SOCK; }
    bool isConnected() const { return isValid() && UDT::getsockstate(m_id) == CONNECTED; }
    void close();
    UDTSOCKET release();

    SocketAddress localAddress() const;
    SocketAddress peerAddress() const;

private:
    UDTSOCKET m_id = UDT::INVALID_SOCK;
};

/// How long `UDT::close` may wait for unsent data, in seconds; 0 drops it at once. For a socket on which
/// no bulk call runs: setting an option would wait for that.
void setLinger(UDTSOCKET socket, int seconds);

/// Do calls on the socket, `UDT::connect` included, wait for their end? New ones do. As above.
void setBlocking(UDTSOCKET socket, bool isBlocking);

/// How long a `UDT::recv` may wait, in milliseconds. For a socket on which no bulk call runs, as above.
void setReceiveLimit(UDTSOCKET socket, int milliseconds);

/// The most that is sent, in bytes per second; 0: no limit. As above.
void setRateLimit(UDTSOCKET socket, qint64 bytesPerSecond);

/// The packet size that both ends agreed on, in bytes.
int negotiatedPacketSize(UDTSOCKET socket);

/// Bytes that were handed to the library and have not arrived at the peer, to within one packet. Does not
/// wait for a bulk call; any thread. 0 when the socket is closed.
qint64 unsentBytes(UDTSOCKET socket);

/// Packets received so far on the socket, or -1 when it is closed. Does not wait for a bulk call.
qint64 receivedPackets(UDTSOCKET socket);

} // namespace VESK
