#pragma once

#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <chrono>
#include <functional>

namespace VESK::Test
{

/// How long a client's task may take to end when a stop may fall between two of its messages: it then
/// still waits two seconds for the next one.
constexpr std::chrono::seconds stopBetweenMessages(4);

/// A handler in whose messages a test has a say. The hooks run on the task thread; an empty one does nothing.
class StagedHandler : public VeskHandler2_0_0
{
public:
    std::function<bool(int kind)> beforeSend; ///< false: the message is not sent, and sending it fails
    std::function<void(int kind)> afterSend; ///< the message is on its way
    std::function<bool(int kind)> beforeRecv; ///< false: receiving fails
    std::function<void(int kind)> afterRecv; ///< a message of that kind has come

    bool send(int kind, const QString &text) override
    {
        if (beforeSend && !beforeSend(kind))
            return false;
        const bool sent = VeskHandler2_0_0::send(kind, text);
        if (sent && afterSend)
            afterSend(kind);
        return sent;
    }

    bool recv(int kind, QString &text) override
    {
        if (beforeRecv && !beforeRecv(kind))
            return false;
        const bool received = VeskHandler2_0_0::recv(kind, text);
        if (received && afterRecv)
            afterRecv(kind);
        return received;
    }
};

/// A handler that does not give out a list of its parameters.
class TightLippedHandler : public VeskHandler2_0_0
{
public:
    using VeskHandler2_0_0::getParams;
    bool getParams(const QStringList &, ParamMap &) override { return false; }
};

/// Did nothing leave the handler but what `peer` has read already?
template <typename Peer>
bool nothingElseCame(VeskBase &handler, Peer &peer)
{
    constexpr int marker = 40; // of the kinds that hosts may use
    QString text;
    return handler.send(marker, QString()) && peer.recv(marker, text);
}

} // namespace VESK::Test
