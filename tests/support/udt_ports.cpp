#include "tests/support/udt_ports.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstdlib>

namespace VESK::Test
{

namespace
{

constexpr int attempts = 5; // a connect can fail by chance, so rarely that twice in a row is news
constexpr int backlog = 64; // connections that wait for their accept; pairs are made one by one

struct Ports {
    UDTSOCKET idleClient = UDT::INVALID_SOCK;
    UDTSOCKET listener = UDT::INVALID_SOCK;
    sockaddr_in clientAddress{};
    sockaddr_in listenerAddress{};
};

Ports ports;

[[noreturn]] void giveUp(const char *what)
{
    std::fprintf(stderr, "The tests' UDT sockets: %s failed: %s\n", what,
                 UDT::getlasterror().getErrorMessage());
    std::abort();
}

UDTSOCKET newSocket()
{
    const UDTSOCKET socket = UDT::socket(AF_INET, SOCK_STREAM, 0);
    const linger off{0, 0};
    if (socket != UDT::INVALID_SOCK)
        UDT::setsockopt(socket, 0, UDT_LINGER, &off, sizeof off);
    return socket;
}

/// Binds `socket` to `address` and puts the port it got into it.
void bindTo(UDTSOCKET socket, sockaddr_in &address)
{
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    int size = sizeof address;
    if (UDT::bind(socket, generic, size) == UDT::ERROR)
        giveUp("bind");
    if (UDT::getsockname(socket, generic, &size) == UDT::ERROR)
        giveUp("getsockname");
}

} // namespace

void openUdtPorts()
{
    ports.idleClient = newSocket();
    bindTo(ports.idleClient, ports.clientAddress);
    ports.listener = newSocket();
    bindTo(ports.listener, ports.listenerAddress);
    if (UDT::listen(ports.listener, backlog) == UDT::ERROR)
        giveUp("listen");
}

UDTSOCKET newClientSocket()
{
    const UDTSOCKET socket = newSocket();
    const auto *const address = reinterpret_cast<const sockaddr *>(&ports.clientAddress);
    if (socket == UDT::INVALID_SOCK || UDT::bind(socket, address, sizeof ports.clientAddress) != UDT::ERROR)
        return socket;
    UDT::close(socket);
    return UDT::INVALID_SOCK;
}

UDTSOCKET newConnection(const sockaddr *address)
{
    for (int i = 0; i < attempts; ++i) {
        const UDTSOCKET socket = newClientSocket();
        if (socket == UDT::INVALID_SOCK || UDT::connect(socket, address, sizeof(sockaddr_in)) != UDT::ERROR)
            return socket;
    }
    return UDT::INVALID_SOCK;
}

UDTSOCKET listener()
{
    return ports.listener;
}

const sockaddr *listenerAddress()
{
    return reinterpret_cast<const sockaddr *>(&ports.listenerAddress);
}

} // namespace VESK::Test
