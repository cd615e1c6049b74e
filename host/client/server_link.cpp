#include "host/client/server_link.h"

#include <utility>

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
    m_isOutage = true;
    if (!m_speaker)
        m_speaker = session;
    return m_speaker == session;
}

bool ServerLink::beginOutage()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return !std::exchange(m_isOutage, true);
}

void ServerLink::endOutage()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_speaker = nullptr;
    m_isOutage = false;
}

} // namespace VESK::Host
