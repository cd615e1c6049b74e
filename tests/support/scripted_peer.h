#pragma once

#include "tests/support/qt_text.h"
#include "vesk_base/vesk_base.h"

#include <udt/udt.h>

#include <QtCore/QByteArray>

#include <optional>

namespace VESK::Test
{

/// The other end of a handler under test: it says and hears exactly what the test tells it to.
///
/// All of VeskBase is open to the test, too. The socket stays the caller's; the peer gives up on anything
/// that makes no progress for `idleLimitMs`, so that a test fails and does not hang. One thread uses it.
class ScriptedPeer : public VeskBase
{
public:
    static constexpr int idleLimitMs = 20000;

    /// `endPoint` is the part this peer plays: "client" or "server".
    ScriptedPeer(UDTSOCKET socket, const QString &endPoint);

    UDTSOCKET socket() const { return m_socket; }

    /// One message whose payload is a map. `recvMap` has nothing when none of that kind comes next, or its
    /// payload is no well-formed map.
    [[nodiscard]] bool sendMap(MessageKind kind, const ParamMap &map);
    [[nodiscard]] std::optional<ParamMap> recvMap(MessageKind kind);

    /// Raw bytes of the stream, outside messages. `recvBytes` gives less than `size` when the stream ends.
    [[nodiscard]] bool sendBytes(const QByteArray &bytes);
    [[nodiscard]] QByteArray recvBytes(int size);

private:
    const UDTSOCKET m_socket;
};

} // namespace VESK::Test
