#include "tests/support/scripted_peer.h"

#include "vesk_base/param_text.h"

namespace VESK::Test
{

ScriptedPeer::ScriptedPeer(UDTSOCKET socket, const QString &endPoint)
    : m_socket(socket)
{
    const int limit = idleLimitMs;
    UDT::setsockopt(socket, 0, UDT_RCVTIMEO, &limit, sizeof limit);
    UDT::setsockopt(socket, 0, UDT_SNDTIMEO, &limit, sizeof limit);
    presetParam(QStringLiteral("endPoint"), endPoint);
    presetParam(endPoint + QStringLiteral("Socket"), QString::number(socket));
}

bool ScriptedPeer::sendMap(MessageKind kind, const ParamMap &map)
{
    return send(number(kind), writeParamText(map));
}

std::optional<ParamMap> ScriptedPeer::recvMap(MessageKind kind)
{
    QString text;
    return recv(number(kind), text) ? readParamText(text) : std::nullopt;
}

bool ScriptedPeer::sendBytes(const QByteArray &bytes)
{
    int sent = 0;
    while (sent < bytes.size()) {
        const int count = UDT::send(m_socket, bytes.constData() + sent, bytes.size() - sent, 0);
        if (count <= 0)
            return false;
        sent += count;
    }
    return true;
}

QByteArray ScriptedPeer::recvBytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    int received = 0;
    while (received < size) {
        const int count = UDT::recv(m_socket, bytes.data() + received, size - received, 0);
        if (count <= 0)
            break;
        received += count;
    }
    bytes.truncate(received);
    return bytes;
}

} // namespace VESK::Test
