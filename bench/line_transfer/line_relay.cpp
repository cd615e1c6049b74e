// A path on loopback whose packets overtake each other, in front of a server of this machine.
//   line_relay SERVER_PORT RTT_MS MBIT_PER_S JITTER_MS
// Prints the port at which clients find it, and passes packets on until it is killed.
#include "tests/faults/support/udp_relay.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>

int main(int argc, char **argv)
{
    if (argc != 5) {
        std::fprintf(stderr, "usage: line_relay SERVER_PORT RTT_MS MBIT_PER_S JITTER_MS\n");
        return 2;
    }
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    server.sin_port = htons(static_cast<in_port_t>(std::atoi(argv[1])));
    VESK::Test::PathWeather weather;
    weather.delay = std::chrono::milliseconds(std::atoi(argv[2]) / 2);
    weather.bytesPerSecond = std::atof(argv[3]) * 1e6 / 8;
    weather.jitter = std::chrono::microseconds(static_cast<int>(std::atof(argv[4]) * 1000));
    const VESK::Test::UdpRelay relay(server, weather, std::random_device()());
    std::printf("%d\n", ntohs(relay.address().sin_port));
    std::fflush(stdout);
    ::pause();
    return 0;
}
