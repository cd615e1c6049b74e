#include "tests/transport/byte_transfer.h"

#include <random>

namespace VESK::Test
{

SocketAddress loopback(quint16 port)
{
    QString error;
    return SocketAddress::resolve(QStringLiteral("127.0.0.1"), port, AddressFamily::Ipv4, &error).front();
}

std::string someBytes(int size)
{
    std::string bytes(static_cast<std::size_t>(size), '\0');
    std::mt19937 random(7);
    for (char &byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

std::string receiveAll(UDTSOCKET socket, int size)
{
    std::string bytes(static_cast<std::size_t>(size), '\0');
    int done = 0;
    while (done < size) {
        const int count = UDT::recv(socket, &bytes[static_cast<std::size_t>(done)], size - done, 0);
        if (count <= 0)
            break;
        done += count;
    }
    bytes.resize(static_cast<std::size_t>(done));
    return bytes;
}

bool sendAll(UDTSOCKET socket, const std::string &bytes)
{
    const int size = static_cast<int>(bytes.size());
    for (int done = 0; done < size;) {
        const int count = UDT::send(socket, bytes.data() + done, size - done, 0);
        if (count <= 0)
            return false;
        done += count;
    }
    return true;
}

} // namespace VESK::Test
