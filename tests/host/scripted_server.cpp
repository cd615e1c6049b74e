#include "tests/host/scripted_server.h"

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

void ScriptedServer::serveClient()
{
    const UDTSOCKET socket = UDT::accept(listener(), nullptr, nullptr);
    if (socket == UDT::INVALID_SOCK)
        return;
    ScriptedPeer peer(socket, QStringLiteral("server"));
    m_script(peer);
    (void)waitUntilDelivered(socket); // the client may have left on purpose
    (void)UDT::close(socket);
}

} // namespace VESK::Test
