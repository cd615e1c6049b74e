#pragma once

#include <QtCore/QByteArray>

#include <atomic>
#include <cstdint>
#include <optional>
#include <thread>

namespace VESK::Test
{

/// What a connection request of UDT claims about its sender.
struct HandshakeClaims {
    std::uint32_t packetSize = 1400; ///< bytes
    std::uint32_t flowWindow = 25600; ///< packets
    std::uint32_t cookie = 0; ///< 0 asks for one
};

/// A plain UDP socket that speaks just enough of UDT to send connection requests with arbitrary claims to a
/// port on 127.0.0.1.
class RawHandshake
{
public:
    explicit RawHandshake(std::uint16_t port);
    ~RawHandshake();
    RawHandshake(const RawHandshake &) = delete;
    RawHandshake &operator=(const RawHandshake &) = delete;

    /// Sends one request: the first when the claims have no cookie, else the one that connects.
    void send(const HandshakeClaims &claims);
    /// Sends a datagram as it is.
    void sendDatagram(const QByteArray &bytes);

    /// The cookie of an answer; waits `limitMs` for one at the most.
    std::optional<std::uint32_t> answeredCookie(int limitMs);

    /// The bytes that `send` puts into a datagram.
    static QByteArray datagram(const HandshakeClaims &claims);

private:
    int m_descriptor = -1;
};

/// A plain UDP socket on 127.0.0.1 that accepts every connection request with the claims it is given, on a
/// thread of its own, and never says anything else.
class RawServer
{
public:
    explicit RawServer(const HandshakeClaims &claims);
    ~RawServer();
    RawServer(const RawServer &) = delete;
    RawServer &operator=(const RawServer &) = delete;

    std::uint16_t port() const;
    /// Connection requests that it has accepted.
    int accepted() const { return m_accepted; }
    /// Has a client sent data, as one does that believes itself connected?
    bool heardData() const { return m_heardData; }

private:
    void run();
    QByteArray answer(QByteArray request);

    const HandshakeClaims m_claims;
    int m_descriptor = -1;
    std::atomic<int> m_accepted{0};
    std::atomic<bool> m_heardData{false};
    std::atomic<bool> m_isEnding{false};
    std::thread m_thread;
};

} // namespace VESK::Test
