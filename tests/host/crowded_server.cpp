#include "tests/host/crowded_server.h"

#include "tests/host/scripted_server.h"

#include "host/error_type.h"
#include "host/hello/hello_messages.h"
#include "tests/support/udt_pair.h"
#include "tests/support/udt_ports.h"

#include "vesk_base/message_channel.h"

#include <chrono>

namespace VESK::Test
{

namespace
{

constexpr std::chrono::milliseconds lookInterval{2};

void setListenerBlocking(bool isBlocking)
{
    UDT::setsockopt(listener(), 0, UDT_RCVSYN, &isBlocking, sizeof isBlocking);
}

} // namespace

CrowdedServer::CrowdedServer(std::vector<Script> scripts)
    : m_scripts(std::move(scripts))
{
    setListenerBlocking(false);
    m_acceptor = std::thread([this] { accept(); });
}

CrowdedServer::~CrowdedServer()
{
    m_isEnding = true;
    m_acceptor.join();
    for (std::thread &client : m_clients)
        client.join();
    setListenerBlocking(true);
}

void CrowdedServer::accept()
{
    while (!m_isEnding) {
        const UDTSOCKET socket = UDT::accept(listener(), nullptr, nullptr);
        if (socket == UDT::INVALID_SOCK)
            std::this_thread::sleep_for(lookInterval);
        else
            m_clients.emplace_back([this, socket, number = m_clients.size()] { serve(socket, number); });
    }
}

void CrowdedServer::serve(UDTSOCKET socket, std::size_t number)
{
    for (const UDTOpt option : {UDT_RCVSYN, UDT_SNDSYN}) {
        const bool isBlocking = true; // unlike the listener it comes from
        UDT::setsockopt(socket, 0, option, &isBlocking, sizeof isBlocking);
    }
    ScriptedPeer peer(socket, QStringLiteral("server"));
    if (number >= m_scripts.size())
        turnAway(peer);
    else if (ScriptedServer::sayHello(peer))
        m_scripts[number](peer);
    (void)waitUntilDelivered(socket); // the client may have left on purpose
    (void)UDT::close(socket);
}

void CrowdedServer::turnAway(ScriptedPeer &peer)
{
    QString hello;
    MessageChannel channel(peer.socket());
    if (!channel.recv(Host::number(Host::HostMessage::ClientHello), hello))
        return;
    ++m_refusals;
    (void)peer.sendMap(MessageKind::TaskParamAck,
                       {{QStringLiteral("ackRespond"), QStringLiteral("false")},
                        {QStringLiteral("errorType"), Host::ErrorType::tooManyConnections()}}); // as above
}

} // namespace VESK::Test
