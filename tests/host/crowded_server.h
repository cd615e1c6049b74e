#pragma once

#include "tests/support/scripted_peer.h"

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace VESK::Test
{

/// A server that takes as many clients as it has scripts, side by side, each on a thread of its own, and
/// tells all later ones that it has too many connections. Its address is that of a ScriptedServer.
class CrowdedServer
{
public:
    using Script = std::function<void(ScriptedPeer &)>;

    /// The first client to come gets the first script, and so on, each after an ordinary hello; its
    /// connection is closed after it, when all that was sent has arrived.
    explicit CrowdedServer(std::vector<Script> scripts);
    /// Waits for the scripts that have begun to end.
    ~CrowdedServer();
    CrowdedServer(const CrowdedServer &) = delete;
    CrowdedServer &operator=(const CrowdedServer &) = delete;

    /// Clients that were turned away so far.
    int refusals() const { return m_refusals; }

private:
    void accept();
    void serve(UDTSOCKET socket, std::size_t number);
    void turnAway(ScriptedPeer &peer);

    const std::vector<Script> m_scripts;
    std::atomic<int> m_refusals{0};
    std::atomic<bool> m_isEnding{false};
    std::vector<std::thread> m_clients; // of the accepting thread, until it has ended
    std::thread m_acceptor;
};

} // namespace VESK::Test
