#pragma once

#include "host/address.h"
#include "transport/connector.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace VESK::Host
{

/// What the sessions with one server share: the UDP port they leave from, whether the server was ever
/// reached, and who speaks of an outage, so that it is told once and not by each. Any thread.
class ServerLink
{
public:
    /// The connector outlives it.
    ServerLink(Connector &connector, const RemoteAddress &remote, AddressFamily family);

    /// As Connector::connect.
    UdtSocket connect(ConnectFailure *failure);

    const RemoteAddress &remote() const { return m_remote; }

    /// A session has a connection that takes tasks, or has it no longer.
    void noteConnected();
    void noteDisconnected() { --m_connected; }
    int connected() const { return m_connected; }
    /// Did a connection ever take tasks?
    bool wasReached() const { return m_wasReached; }

    /// May this session, which waits for the server, tell that it is away? The first that asks may, until
    /// `endOutage`.
    bool mayTellOutage(const void *session);
    /// Something was lost while other sessions have connections. Is that the first sign of an outage?
    bool beginOutage();
    /// Something arrived: the next outage is another one.
    void endOutage();

private:
    Connector &m_connector;
    const RemoteAddress m_remote;
    const AddressFamily m_family;
    std::atomic<bool> m_wasReached{false};
    std::atomic<int> m_connected{0};
    std::mutex m_mutex; // guards the rest
    const void *m_speaker = nullptr; // of an outage
    bool m_isOutage = false;
};

} // namespace VESK::Host
