#include "bench/drivers/connection.h"

#include <netinet/in.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace VESK::Bench
{

namespace
{

void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "bench: %s failed: %s\n", what, UDT::getlasterror().getErrorMessage());
    std::exit(1);
}

SocketAddress loopback()
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return SocketAddress(reinterpret_cast<const sockaddr *>(&address), sizeof(address));
}

} // namespace

Connection::Connection(Options options)
{
    if (options == Options::Ours)
        openOurs();
    else
        openLibrary();
    require(m_client.isConnected() && m_server.isConnected(), "connecting");
}

void Connection::openOurs()
{
    QString error;
    m_listener = std::make_unique<Listener>(m_options);
    require(m_listener->open(loopback(), &error), "listening");
    std::thread accepting([this] {
        SocketAddress peer;
        m_server = m_listener->accept(&peer);
    });
    m_connector = std::make_unique<Connector>(m_options);
    ConnectFailure failure;
    m_client = m_connector->connect(m_listener->address(), &failure);
    accepting.join();
}

void Connection::openLibrary()
{
    const SocketAddress address = loopback();
    m_plainListener = UdtSocket(UDT::socket(AF_INET, SOCK_STREAM, 0));
    setLinger(m_plainListener.id(), 0);
    require(UDT::bind(m_plainListener.id(), address.data(), sizeof(sockaddr_in)) != UDT::ERROR, "binding");
    require(UDT::listen(m_plainListener.id(), 1) != UDT::ERROR, "listening");
    std::thread accepting(
        [this] { m_server = UdtSocket(UDT::accept(m_plainListener.id(), nullptr, nullptr)); });
    m_client = UdtSocket(UDT::socket(AF_INET, SOCK_STREAM, 0));
    setLinger(m_client.id(), 0);
    const SocketAddress peer = m_plainListener.localAddress();
    require(UDT::connect(m_client.id(), peer.data(), sizeof(sockaddr_in)) != UDT::ERROR, "connecting");
    accepting.join();
}

} // namespace VESK::Bench
