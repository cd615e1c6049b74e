// Moves bytes over one UDT connection with the transport's options, without tasks and files.
//   line_transfer receive ADDRESS PORT [CONGESTION]             one connection after another, until killed
//   line_transfer send ADDRESS PORT MEGABYTES [CONGESTION [SECONDS]]
// CONGESTION: vesk (default) or udt. With SECONDS it stops after these, whatever has been sent. The sender
// prints seconds from before connecting until the receiver has everything, and Mbit/s of payload.
#include "transport/connector.h"
#include "transport/listener.h"
#include "transport/udt_library.h"

#include <QtCore/QElapsedTimer>

#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

namespace
{

using namespace VESK;

constexpr int blockSize = 1 << 20; // bytes

TransportOptions optionsFor(const char *congestion)
{
    TransportOptions options;
    options.congestion = std::strcmp(congestion, "udt") == 0 ? Congestion::Udt : Congestion::Vesk;
    return options;
}

// The first eight bytes say how many follow; one byte goes back when they are here.
void serve(UdtSocket socket)
{
    std::vector<char> block(blockSize);
    const auto receive = [&](qint64 bytes) {
        while (bytes > 0) {
            const int count =
                UDT::recv(socket.id(), block.data(), static_cast<int>(qMin<qint64>(bytes, blockSize)), 0);
            if (count <= 0)
                return false;
            bytes -= count;
        }
        return true;
    };
    qint64 size = 0;
    if (!receive(sizeof size))
        return;
    std::memcpy(&size, block.data(), sizeof size);
    if (!receive(size))
        return;
    (void)UDT::send(socket.id(), "k", 1, 0);
    (void)UDT::recv(socket.id(), block.data(), 1, 0); // until the sender has closed
}

int receiveAll(const SocketAddress &address, const TransportOptions &options)
{
    Listener listener(options);
    QString error;
    if (!listener.open(address, &error)) {
        std::fprintf(stderr, "line_transfer: %s\n", qPrintable(error));
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);
    while (listener.isOpen()) {
        SocketAddress peer;
        UdtSocket socket = listener.accept(&peer);
        if (socket.isValid())
            std::thread(serve, std::move(socket)).detach();
    }
    return 0;
}

int sendAll(const SocketAddress &address, qint64 size, double seconds, const TransportOptions &options)
{
    QElapsedTimer timer;
    timer.start();
    Connector connector(options);
    ConnectFailure failure;
    UdtSocket socket = connector.connect(address, &failure);
    if (!socket.isValid()) {
        std::fprintf(stderr, "line_transfer: no connection\n");
        return 1;
    }
    std::vector<char> block(blockSize, 'x');
    qint64 sent = 0;
    const auto send = [&](const char *data, qint64 bytes) {
        while (bytes > 0) {
            const int count = UDT::send(socket.id(), data, static_cast<int>(bytes), 0);
            if (count <= 0)
                return false;
            data += count;
            bytes -= count;
            sent += count;
        }
        return true;
    };
    if (!send(reinterpret_cast<const char *>(&size), sizeof size))
        return 1;
    for (qint64 left = size; left > 0; left -= blockSize) {
        if (!send(block.data(), qMin<qint64>(left, blockSize)))
            return 1;
        if (seconds > 0 && static_cast<double>(timer.elapsed()) > seconds * 1000)
            break;
    }
    char answer = 0;
    if (seconds <= 0 && UDT::recv(socket.id(), &answer, 1, 0) != 1)
        return 1;
    const double taken = static_cast<double>(timer.nsecsElapsed()) * 1e-9;
    const qint64 arrived = sent - (seconds > 0 ? unsentBytes(socket.id()) : 0);
    UDT::TRACEINFO info{};
    (void)UDT::perfmon(socket.id(), &info, false);
    std::printf("%.3f s %.2f Mbit/s sent %lld repeated %d\n", taken,
                static_cast<double>(arrived) * 8e-6 / taken, static_cast<long long>(info.pktSentTotal),
                info.pktRetransTotal);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4) {
        std::fprintf(stderr,
                     "usage: line_transfer receive ADDRESS PORT [CONGESTION]\n"
                     "       line_transfer send ADDRESS PORT MEGABYTES [CONGESTION [SECONDS]]\n");
        return 2;
    }
    const UdtLibrary library;
    QString error;
    const auto addresses =
        SocketAddress::resolve(QString::fromLocal8Bit(argv[2]), static_cast<quint16>(std::atoi(argv[3])),
                               AddressFamily::Any, &error);
    if (addresses.empty())
        return 2;
    if (std::strcmp(argv[1], "receive") == 0)
        return receiveAll(addresses.front(), optionsFor(argc > 4 ? argv[4] : "vesk"));
    const qint64 size = argc > 4 ? std::atoll(argv[4]) * 1000000 : 0;
    return sendAll(addresses.front(), size, argc > 6 ? std::atof(argv[6]) : 0,
                   optionsFor(argc > 5 ? argv[5] : "vesk"));
}
