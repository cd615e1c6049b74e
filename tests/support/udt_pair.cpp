#include "tests/support/udt_pair.h"

#include "tests/support/udt_ports.h"

#include <netinet/in.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace VESK::Test
{

namespace
{

std::mutex connecting; // one pair at a time, so that each gets its own ends
std::uint64_t lastTicket = 0; // guarded by it; what a client says first, to be known by

bool receiveTicket(UDTSOCKET socket, std::uint64_t &ticket)
{
    auto *const bytes = reinterpret_cast<char *>(&ticket);
    int received = 0;
    while (received < static_cast<int>(sizeof ticket)) {
        const int count = UDT::recv(socket, bytes + received, static_cast<int>(sizeof ticket) - received, 0);
        if (count <= 0)
            return false;
        received += count;
    }
    return true;
}

UDTSOCKET connectClient(std::uint64_t ticket)
{
    const UDTSOCKET socket = newConnection(listenerAddress());
    if (socket == UDT::INVALID_SOCK
        || UDT::send(socket, reinterpret_cast<const char *>(&ticket), sizeof ticket, 0) == sizeof ticket)
        return socket;
    UDT::close(socket);
    return UDT::INVALID_SOCK;
}

/// The accepted socket whose client showed `ticket`; left-overs of failed connects are dropped on the way.
UDTSOCKET acceptServer(std::uint64_t ticket)
{
    for (;;) {
        const UDTSOCKET socket = UDT::accept(listener(), nullptr, nullptr);
        std::uint64_t shown = 0;
        if (socket == UDT::INVALID_SOCK || (receiveTicket(socket, shown) && shown == ticket))
            return socket;
        UDT::close(socket);
    }
}

/// Polls a counter of the socket, as the library tells nobody when it becomes 0.
bool waitUntilZero(UDTSOCKET socket, UDTOpt counter, std::chrono::seconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        int value = 0;
        int size = sizeof value;
        if (UDT::getsockopt(socket, 0, counter, &value, &size) == UDT::ERROR)
            return false;
        if (value == 0)
            return true;
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

UdtPair::UdtPair()
{
    const std::lock_guard<std::mutex> lock(connecting);
    m_client = connectClient(++lastTicket);
    if (m_client != UDT::INVALID_SOCK)
        m_server = acceptServer(lastTicket);
    if (m_server != UDT::INVALID_SOCK)
        return;
    std::fprintf(stderr, "No connected UDT sockets: %s\n", UDT::getlasterror().getErrorMessage());
    std::abort();
}

UdtPair::~UdtPair()
{
    closeClient();
    closeServer();
}

void UdtPair::closeClient()
{
    UDT::close(m_client);
}

void UdtPair::closeServer()
{
    UDT::close(m_server);
}

bool waitUntilDelivered(UDTSOCKET socket, std::chrono::seconds limit)
{
    return UDT::getsockstate(socket) == CONNECTED && waitUntilZero(socket, UDT_SNDDATA, limit);
}

bool waitUntilRead(UDTSOCKET socket, std::chrono::seconds limit)
{
    return waitUntilZero(socket, UDT_RCVDATA, limit);
}

} // namespace VESK::Test
