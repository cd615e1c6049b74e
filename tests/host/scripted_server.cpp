#include "tests/host/scripted_server.h"

#include "host/hello/server_hello.h"

#include "tests/support/udt_pair.h"
#include "tests/support/udt_ports.h"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace VESK::Test
{

ScriptedServer::ScriptedServer(std::function<void(ScriptedPeer &)> script, int clients)
    : m_script(std::move(script))
    , m_clients(clients)
    , m_thread([this] { serve(); })
{
}

ScriptedServer::~ScriptedServer()
{
    m_thread.join();
}

QString ScriptedServer::url(const QString &path)
{
    const auto *address = reinterpret_cast<const sockaddr_in *>(listenerAddress());
    return QStringLiteral("vesk://127.0.0.1:%1/%2").arg(QString::number(ntohs(address->sin_port)), path);
}

void ScriptedServer::serve()
{
    for (int client = 0; client < m_clients; ++client)
        serveClient();
}

bool ScriptedServer::sayHello(ScriptedPeer &peer)
{
    const Host::HelloTerms terms{nullptr, QStringLiteral("VESK-2.0.0"), {}};
    QString hello;
    MessageChannel channel(peer.socket());
    return channel.recv(number(Host::HostMessage::ClientHello), hello)
        && Host::receiveHello(channel, terms, hello).result == Host::Reception::Result::Admitted;
}

void ScriptedServer::serveClient()
{
    const UDTSOCKET socket = UDT::accept(listener(), nullptr, nullptr);
    if (socket == UDT::INVALID_SOCK)
        return;
    ScriptedPeer peer(socket, QStringLiteral("server"));
    if (sayHello(peer))
        m_script(peer);
    (void)waitUntilDelivered(socket); // the client may have left on purpose
    (void)UDT::close(socket);
}

} // namespace VESK::Test
