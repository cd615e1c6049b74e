#include "host/client/server_link.h"

namespace VESK::Host
{

ServerLink::ServerLink(Connector &connector, const RemoteAddress &remote, AddressFamily family)
    : m_connector(connector)
    , m_remote(remote)
    , m_family(family)
{
}

UdtSocket ServerLink::connect(ConnectFailure *failure)
{
    return m_connector.connect(m_remote.host, m_remote.port, m_family, failure);
}

void ServerLink::noteConnected()
{
    m_wasReached = true;
    ++m_connected;
}

bool ServerLink::mayTellOutage(const void *session)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_speaker)
        m_speaker = session;
    return m_speaker == session;
}

void ServerLink::endOutage()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_speaker = nullptr;
}

} // namespace VESK::Host
