#include "tests/hostile/raw_handshake.h"

#include <QtCore/QtEndian>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace VESK::Test
{

namespace
{

// Bytes from the start of the datagram.
constexpr int receiverOffset = 12;
constexpr int packetSizeOffset = 28;
constexpr int flowWindowOffset = 32;
constexpr int requestOffset = 36;
constexpr int senderOffset = 40;
constexpr int cookieOffset = 44;

constexpr int datagramSize = 64; // bytes

/// A word as it travels.
QByteArray wordBytes(std::uint32_t word)
{
    const std::uint32_t bigEndian = qToBigEndian(word);
    return QByteArray(reinterpret_cast<const char *>(&bigEndian), sizeof bigEndian);
}

} // namespace

RawHandshake::RawHandshake(std::uint16_t port)
    : m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    // An error shows in the tests: nothing is answered then.
    (void)::connect(m_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

RawHandshake::~RawHandshake()
{
    ::close(m_descriptor);
}

QByteArray RawHandshake::datagram(const HandshakeClaims &claims)
{
    constexpr std::uint32_t handshakeType = 0x80000000;
    constexpr std::uint32_t connects = 0xFFFFFFFF; // -1; a first request says 1
    constexpr std::uint32_t loopback = 0x0100007F;
    const std::array<std::uint32_t, datagramSize / 4> words{
        handshakeType,
        0,
        0, // time stamp
        0, // to the listener
        4, // version
        1, // a stream socket
        1000, // first sequence number
        claims.packetSize,
        claims.flowWindow,
        claims.cookie == 0 ? 1 : connects,
        123456, // id of the sender's socket
        claims.cookie,
        loopback,
    };
    QByteArray bytes;
    for (const std::uint32_t word : words)
        bytes += wordBytes(word);
    return bytes;
}

void RawHandshake::send(const HandshakeClaims &claims)
{
    sendDatagram(datagram(claims));
}

void RawHandshake::sendDatagram(const QByteArray &bytes)
{
    (void)::send(m_descriptor, bytes.constData(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL);
}

std::optional<std::uint32_t> RawHandshake::answeredCookie(int limitMs)
{
    pollfd entry{m_descriptor, POLLIN, 0};
    std::array<char, 2048> buffer{};
    if (::poll(&entry, 1, limitMs) != 1
        || ::recv(m_descriptor, buffer.data(), buffer.size(), 0) < datagramSize)
        return std::nullopt;
    return qFromBigEndian<std::uint32_t>(buffer.data() + cookieOffset);
}

RawServer::RawServer(const HandshakeClaims &claims)
    : m_claims(claims)
    , m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // An error shows in the tests: nobody asks then.
    (void)::bind(m_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    m_thread = std::thread([this] { run(); });
}

RawServer::~RawServer()
{
    m_isEnding = true;
    m_thread.join();
    ::close(m_descriptor);
}

std::uint16_t RawServer::port() const
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    (void)::getsockname(m_descriptor, reinterpret_cast<sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

void RawServer::run()
{
    constexpr int lookMs = 20; // between looks at m_isEnding
    std::array<char, 2048> buffer{};
    while (!m_isEnding) {
        pollfd entry{m_descriptor, POLLIN, 0};
        if (::poll(&entry, 1, lookMs) != 1)
            continue;
        sockaddr_in client{};
        socklen_t size = sizeof client;
        auto *const address = reinterpret_cast<sockaddr *>(&client);
        const auto count = ::recvfrom(m_descriptor, buffer.data(), buffer.size(), 0, address, &size);
        const bool isData = count > 16 && (buffer[0] & 0x80) == 0;
        m_heardData = m_heardData || isData;
        if (count != datagramSize || buffer[0] != '\x80' || buffer[1] != 0)
            continue;
        const QByteArray reply = answer(QByteArray(buffer.data(), datagramSize));
        (void)::sendto(m_descriptor, reply.constData(), datagramSize, MSG_NOSIGNAL, address, size);
    }
}

QByteArray RawServer::answer(QByteArray request)
{
    request.replace(receiverOffset, 4, request.mid(senderOffset, 4));
    if (request.mid(requestOffset, 4) == wordBytes(1)) { // give a cookie
        request.replace(cookieOffset, 4, wordBytes(4711));
        return request;
    }
    ++m_accepted;
    request.replace(packetSizeOffset, 4, wordBytes(m_claims.packetSize));
    request.replace(flowWindowOffset, 4, wordBytes(m_claims.flowWindow));
    return request;
}

} // namespace VESK::Test
