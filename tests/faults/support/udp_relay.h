#pragma once

#include <netinet/in.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <thread>
#include <vector>

namespace VESK::Test
{

/// What a path does to datagrams. The shares are of 1.
struct PathWeather {
    double loss = 0;
    double duplication = 0;
    double reordering = 0; ///< of datagrams that are `lateness` later than the others
    std::chrono::milliseconds delay{0}; ///< one way
    std::chrono::milliseconds lateness{2};
    std::chrono::microseconds jitter{0}; ///< each datagram is later by up to this, and so may be overtaken
    double bytesPerSecond = 0; ///< each way; 0: no limit
    std::chrono::milliseconds queue{50}; ///< longest wait for a limited rate; what comes then is lost
};

/// A path of UDP datagrams between clients and one server on 127.0.0.1, on a thread of its own. To the server
/// each client has a port of its own, as behind a router. Which datagrams suffer depends on the seed and on
/// their order.
class UdpRelay
{
public:
    UdpRelay(const sockaddr_in &server, const PathWeather &weather, std::uint32_t seed);
    ~UdpRelay();
    UdpRelay(const UdpRelay &) = delete;
    UdpRelay &operator=(const UdpRelay &) = delete;

    /// Where clients find it.
    const sockaddr_in &address() const { return m_address; }

    /// Nothing passes from now on, or everything does again. Any thread.
    void cut() { m_isCut = true; }
    void mend() { m_isCut = false; }

    /// Datagrams that were lost so far, those of a cut path included.
    int lost() const { return m_lost; }

private:
    using Clock = std::chrono::steady_clock;
    struct Client {
        sockaddr_in address;
        int serverSide; // the socket that stands for it
    };
    struct Datagram {
        bool toServer;
        std::size_t client; // whose
        std::vector<char> bytes;
    };

    void run();
    void receiveFromClients();
    void receiveFromServer(std::size_t client);
    std::size_t clientAt(const sockaddr_in &address);
    void accept(Datagram datagram);
    void sendDue();
    bool happens(double share);
    bool passesLine(const Datagram &datagram, Clock::time_point *out);

    const PathWeather m_weather;
    std::mt19937 m_random;
    sockaddr_in m_address{};
    const sockaddr_in m_server;
    int m_clientSide = -1;
    std::vector<Client> m_clients;
    std::multimap<Clock::time_point, Datagram> m_waiting;
    std::array<Clock::time_point, 2> m_lineFree; // when the line has sent all that waits, by toServer
    std::atomic<int> m_lost{0};
    std::atomic<bool> m_isCut{false};
    std::atomic<bool> m_isEnding{false};
    std::thread m_thread;
};

} // namespace VESK::Test
