#pragma once

#include "tests/support/scripted_peer.h"

#include <QtCore/QString>

#include <functional>
#include <thread>

namespace VESK::Test
{

/// A server that says to its clients what the test tells it to, after an ordinary hello, on a thread of its
/// own.
class ScriptedServer
{
public:
    /// `script` gets the connections of the next clients, one after another; a connection is closed after
    /// it, when all that was sent has arrived.
    explicit ScriptedServer(std::function<void(ScriptedPeer &)> script, int clients = 1);
    /// Waits for the script to end: all clients must have come.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;

    /// "vesk://127.0.0.1:PORT/<path>"
    static QString url(const QString &path);

    /// Takes everybody, and offers no shares by name.
    [[nodiscard]] static bool sayHello(ScriptedPeer &peer);

private:
    void serve();
    void serveClient();

    const std::function<void(ScriptedPeer &)> m_script;
    const int m_clients;
    std::thread m_thread;
};

} // namespace VESK::Test
