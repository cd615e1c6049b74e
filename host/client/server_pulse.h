#pragma once

#include "transport/port_probe.h"
#include "transport/socket_address.h"

#include <udt/udt.h>

#include <memory>

namespace VESK::Host
{

/// Whether the server of a connection still answers, while the connection has nothing to say: a server may
/// hash a file for minutes before its next word, but its port answers all the time. A server that never
/// answered such questions, since a router in between does not let them pass, is never taken for silent. For
/// one thread.
class ServerPulse
{
public:
    /// Takes note of answers, and asks again when it is time; to be called some times a second while a task
    /// of the connection runs. True when the last answer is `patienceMs` old. Times are in milliseconds of
    /// one clock; a gap of seconds between two calls is no time in which the server could have been heard.
    bool isSilent(UDTSOCKET connection, const SocketAddress &server, qint64 nowMs, qint64 patienceMs);

    /// Asks whether anybody still listens there, and does not wait for the answer. After `isSilent`, again
    /// and again while there is a doubt: the system's error number of a refusal, 0 while there is none.
    int refusal();

private:
    void turnTo(UDTSOCKET connection, const SocketAddress &server, qint64 nowMs);

    UDTSOCKET m_connection = UDT::INVALID_SOCK;
    SocketAddress m_server;
    std::unique_ptr<PortProbe> m_probe; // of the connection
    bool m_hasAnswered = false; // m_server, ever
    qint64 m_lastAnswerMs = 0; // or when the connection was new
    qint64 m_lastQuestionMs = -1; // -1: nothing was asked for this connection yet
    qint64 m_lastCallMs = 0;
};

} // namespace VESK::Host
