#pragma once

#include "transport/connector.h"
#include "transport/listener.h"

#include <memory>

namespace VESK::Bench
{

/// Which options the sockets of a connection get.
enum class Options {
    Ours, ///< those of the program
    Library, ///< none but the linger: what UDT sets by itself
};

/// Both ends of a connection over loopback, each on a UDP port of its own. The program ends when it cannot be
/// made.
class Connection
{
public:
    explicit Connection(Options options);

    UDTSOCKET client() const { return m_client.id(); }
    UDTSOCKET server() const { return m_server.id(); }

private:
    void openOurs();
    void openLibrary();

    TransportOptions m_options;
    std::unique_ptr<Listener> m_listener;
    std::unique_ptr<Connector> m_connector;
    UdtSocket m_plainListener;
    UdtSocket m_server;
    UdtSocket m_client;
};

} // namespace VESK::Bench
