#include "transport/connector.h"

#include "transport/port_probe.h"
#include "transport/udp_port.h"

#include <QtCore/QElapsedTimer>

#include <cerrno>

namespace VESK
{

namespace
{

// On this machine and in the same building a refusal comes within this time; waiting longer would make
// every good connection slow. A later one is still seen when UDT has given up.
constexpr int refusalWaitMs = 20;

// The library gives an attempt up after 3 s, and from then on looks at its socket again and again, also when
// that was closed and is gone: it reads what stands in that place of the memory by then, and stops another
// socket's attempt there, or falls over it. A socket that is closed before it has given up is forgotten.
constexpr int answerLimitMs = 2800;
constexpr qint64 lastCloseMs = 2900; // no socket is closed later; they wait for the end of the process
constexpr qint64 longestLookMs = 20;

constexpr int noAnswerCode = 1001; // of UDT: nobody answered in time
constexpr int rejectedCode = 1002; // of UDT: turned away

ConnectFailure::Kind kindOf(int udtCode)
{
    if (udtCode == noAnswerCode)
        return ConnectFailure::Kind::NoAnswer;
    return udtCode == rejectedCode ? ConnectFailure::Kind::Rejected : ConnectFailure::Kind::Local;
}

void fillRefusal(const PortProbe &probe, ConnectFailure *failure)
{
    const bool isRefused = probe.systemError() == ECONNREFUSED;
    failure->kind = isRefused ? ConnectFailure::Kind::Refused : ConnectFailure::Kind::NoRoute;
    failure->detail = qt_error_string(probe.systemError());
}

} // namespace

Connector::Connector(const TransportOptions &options)
    : m_options(options)
{
}

Connector::~Connector()
{
    for (UdtSocket &socket : m_abandoned)
        (void)socket.release(); // see answerLimitMs
}

void Connector::abandon(UdtSocket socket)
{
    const std::lock_guard<std::mutex> lock(m_abandonedMutex);
    m_abandoned.push_back(std::move(socket));
}

bool Connector::bindToKeptPort(const UdtSocket &socket, int family, QString *error)
{
    const std::lock_guard<std::mutex> lock(m_portMutex);
    UdtSocket &kept = m_keptPorts[family];
    if (!kept.isValid()) {
        kept = UdtSocket::create(family, m_options);
        if (kept.isValid() && !bindUdpPort(kept, SocketAddress::any(family), m_options, error))
            kept.close();
        if (!kept.isValid())
            return false;
    }
    SocketAddress local = SocketAddress::any(family);
    local.setPort(kept.localAddress().port());
    return UDT::bind(socket.id(), local.data(), static_cast<int>(local.size())) != UDT::ERROR;
}

// Who waits inside the library learns why it was turned away, but cannot stop waiting in time. So that is for
// the first contact; after it, the library's own thread waits, and this one looks. Threads that wait inside
// on one port take each other's wake-ups, and then sleep for up to a second: one at a time does.
bool Connector::connectSocket(UDTSOCKET socket, const SocketAddress &address, PortProbe *probe)
{
    const int size = static_cast<int>(address.size());
    const std::unique_lock<std::mutex> turn(m_waitMutex, std::try_to_lock);
    if (turn.owns_lock() && !m_wasReached)
        return !probe->isRefused(refusalWaitMs) && UDT::connect(socket, address.data(), size) != UDT::ERROR;
    setBlocking(socket, false);
    if (UDT::connect(socket, address.data(), size) == UDT::ERROR)
        return false;
    QElapsedTimer timer;
    timer.start();
    bool isRefused = false;
    // The longer it takes, the less a late look matters.
    while (!isRefused && UDT::getsockstate(socket) == CONNECTING && timer.elapsed() < answerLimitMs)
        isRefused = probe->isRefused(static_cast<int>(qBound<qint64>(1, timer.elapsed() / 8, longestLookMs)));
    setBlocking(socket, true);
    return UDT::getsockstate(socket) == CONNECTED;
}

UdtSocket Connector::tryOnce(const SocketAddress &address, PortProbe *probe, int *errorCode,
                             QString *errorText)
{
    UdtSocket socket = UdtSocket::create(address.family(), m_options);
    QString portError;
    const bool isReady = socket.isValid() && bindToKeptPort(socket, address.family(), &portError);
    UDT::getlasterror().clear();
    QElapsedTimer timer;
    timer.start();
    if (isReady && connectSocket(socket.id(), address, probe)) {
        m_wasReached = true;
        return socket;
    }
    *errorCode = portError.isEmpty() ? UDT::getlasterror().getErrorCode() : 0;
    if (isReady && *errorCode == 0)
        *errorCode = noAnswerCode; // nobody waited for the reason
    *errorText = portError.isEmpty() ? QString::fromLocal8Bit(UDT::getlasterror().getErrorMessage()).trimmed()
                                     : portError;
    if (isReady && timer.elapsed() >= lastCloseMs)
        abandon(std::move(socket));
    return UdtSocket();
}

UdtSocket Connector::connect(const SocketAddress &address, ConnectFailure *failure)
{
    QElapsedTimer timer;
    timer.start();
    PortProbe probe(address);
    probe.knock();
    *failure = ConnectFailure();
    failure->address = address;
    int code = 0;
    UdtSocket socket = tryOnce(address, &probe, &code, &failure->detail);
    // A connect that crosses a minute boundary of the server's clock fails once without cause.
    if (!socket.isValid() && code == noAnswerCode && !probe.isRefused(0))
        socket = tryOnce(address, &probe, &code, &failure->detail);
    failure->seconds = static_cast<double>(timer.elapsed()) / 1000;
    if (!socket.isValid()) {
        failure->kind = kindOf(code);
        if (probe.isRefused(0))
            fillRefusal(probe, failure);
        return UdtSocket();
    }
    if (negotiatedPacketSize(socket.id()) < minPacketSize) {
        failure->kind = ConnectFailure::Kind::Unusable;
        return UdtSocket();
    }
    return socket;
}

UdtSocket Connector::connect(const QString &host, quint16 port, AddressFamily family, ConnectFailure *failure)
{
    QString error;
    const std::vector<SocketAddress> addresses = SocketAddress::resolve(host, port, family, &error);
    *failure = ConnectFailure();
    failure->kind = ConnectFailure::Kind::NotResolved;
    failure->detail = error;
    for (const SocketAddress &address : addresses) {
        UdtSocket socket = connect(address, failure);
        if (socket.isValid())
            return socket;
    }
    return UdtSocket();
}

} // namespace VESK
