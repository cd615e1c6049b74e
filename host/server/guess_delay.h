#pragma once

#include "transport/socket_address.h"

#include <QtCore/QByteArray>

#include <chrono>
#include <map>
#include <mutex>
#include <optional>

namespace VESK::Host
{

/// Makes trying tokens slow: how long a client has to wait for the answer to a proof that was wrong. The time
/// doubles with each failure of an address, and is forgotten after a while. The clients that know the token
/// wait for nothing, whoever else comes from their address. Any thread.
class GuessDelay
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds shortest{250};
    static constexpr std::chrono::milliseconds longest{8000};
    static constexpr std::chrono::minutes memory{10};
    static constexpr std::size_t maxAddresses = 1024; ///< the one that was quiet for longest goes first
    static constexpr int maxWaiting = 4; ///< answers that an address can wait for at a time

    /// While it lives, its client waits.
    class Wait
    {
    public:
        Wait(GuessDelay &owner, const QByteArray &address, std::chrono::milliseconds duration);
        ~Wait();
        Wait(Wait &&other) noexcept;
        Wait(const Wait &) = delete;
        Wait &operator=(const Wait &) = delete;

        std::chrono::milliseconds duration() const { return m_duration; }

    private:
        GuessDelay *m_owner;
        const QByteArray m_address;
        const std::chrono::milliseconds m_duration;
    };

    /// Notes a failure. Nothing when as many as may wait do so already: that client gets no answer at all.
    std::optional<Wait> begin(const SocketAddress &client, Clock::time_point now);

private:
    struct Entry {
        int failures = 0;
        int waiting = 0;
        Clock::time_point last;
    };

    void end(const QByteArray &address);
    void makeRoom(Clock::time_point now);

    std::mutex m_mutex; // guards m_entries
    std::map<QByteArray, Entry> m_entries;
};

} // namespace VESK::Host
