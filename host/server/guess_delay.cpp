#include "host/server/guess_delay.h"

#include <netinet/in.h>

#include <algorithm>

namespace VESK::Host
{

namespace
{

constexpr int ipv6NetworkBytes = 8; // what one subscriber usually has
constexpr int maxDoublings = 16;

QByteArray networkOf(const SocketAddress &client)
{
    if (client.family() == AF_INET6) {
        const auto *const address = reinterpret_cast<const sockaddr_in6 *>(client.data());
        return QByteArray(reinterpret_cast<const char *>(&address->sin6_addr), ipv6NetworkBytes);
    }
    const auto *const address = reinterpret_cast<const sockaddr_in *>(client.data());
    return QByteArray(reinterpret_cast<const char *>(&address->sin_addr), sizeof address->sin_addr);
}

} // namespace

GuessDelay::Wait::Wait(GuessDelay &owner, const QByteArray &address, std::chrono::milliseconds duration)
    : m_owner(&owner)
    , m_address(address)
    , m_duration(duration)
{
}

GuessDelay::Wait::Wait(Wait &&other) noexcept
    : m_owner(other.m_owner)
    , m_address(other.m_address)
    , m_duration(other.m_duration)
{
    other.m_owner = nullptr;
}

GuessDelay::Wait::~Wait()
{
    if (m_owner)
        m_owner->end(m_address);
}

std::optional<GuessDelay::Wait> GuessDelay::begin(const SocketAddress &client, Clock::time_point now)
{
    const QByteArray address = networkOf(client);
    const std::lock_guard<std::mutex> lock(m_mutex);
    makeRoom(now);
    Entry &entry = m_entries[address];
    entry.last = now;
    ++entry.failures;
    if (entry.waiting >= maxWaiting)
        return std::nullopt;
    ++entry.waiting;
    const auto duration = shortest * (1 << std::min(entry.failures - 1, maxDoublings));
    return Wait(*this, address, std::min<std::chrono::milliseconds>(duration, longest));
}

void GuessDelay::end(const QByteArray &address)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_entries.find(address);
    if (found != m_entries.end() && found->second.waiting > 0)
        --found->second.waiting;
}

void GuessDelay::makeRoom(Clock::time_point now)
{
    for (auto entry = m_entries.begin(); entry != m_entries.end();)
        entry = now - entry->second.last > memory ? m_entries.erase(entry) : std::next(entry);
    if (m_entries.size() < maxAddresses)
        return;
    m_entries.erase(std::min_element(m_entries.begin(), m_entries.end(), [](const auto &a, const auto &b) {
        return a.second.last < b.second.last;
    }));
}

} // namespace VESK::Host
