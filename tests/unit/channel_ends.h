#pragma once

#include "tests/support/background.h"
#include "tests/support/qt_text.h"
#include "tests/support/udt_pair.h"

#include "vesk_base/message_channel.h"

#include <gtest/gtest.h>

#include <QtCore/QtEndian>

namespace VESK::Test
{

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int anyKind = 40; // a kind of the hosts, without a meaning
constexpr quint32 frameMagic = 0x5645534B;
constexpr int maxPayload = 1 << 20; // bytes
constexpr int maxListPayload = 32 << 20; // bytes; of listings

/// A frame as it stands on the wire; `length` may lie.
inline QByteArray frame(int kind, const QByteArray &payload, quint32 length, quint32 magic = frameMagic)
{
    QByteArray bytes(12, Qt::Uninitialized);
    qToBigEndian(magic, bytes.data());
    qToBigEndian(static_cast<quint32>(kind), bytes.data() + 4);
    qToBigEndian(length, bytes.data() + 8);
    return bytes + payload;
}

inline QByteArray frame(int kind, const QByteArray &payload)
{
    return frame(kind, payload, static_cast<quint32>(payload.size()));
}

template <typename Value>
Value socketOption(UDTSOCKET socket, UDTOpt option)
{
    Value value{};
    int size = sizeof value;
    EXPECT_NE(UDT::getsockopt(socket, 0, option, &value, &size), UDT::ERROR);
    return value;
}

template <typename Value>
void setSocketOption(UDTSOCKET socket, UDTOpt option, Value value)
{
    EXPECT_NE(UDT::setsockopt(socket, 0, option, &value, sizeof value), UDT::ERROR);
}

/// The data size of a full packet on `socket`.
inline int packetPayload(UDTSOCKET socket)
{
    return socketOption<int>(socket, UDT_MSS) - 44;
}

/// A channel with its stop flags at the server's end, and the raw client's end.
class ChannelEnds : public testing::Test
{
protected:
    void sendRaw(const QByteArray &bytes) const
    {
        for (int sent = 0; sent < bytes.size();) {
            const int count = UDT::send(m_pair.client(), bytes.constData() + sent, bytes.size() - sent, 0);
            ASSERT_GT(count, 0) << UDT::getlasterror().getErrorMessage();
            sent += count;
        }
    }

    static QByteArray recvRaw(UDTSOCKET socket, int size)
    {
        QByteArray bytes(size, '\0');
        for (int received = 0; received < size;) {
            const int count = UDT::recv(socket, bytes.data() + received, size - received, 0);
            if (count <= 0)
                return bytes.left(received);
            received += count;
        }
        return bytes;
    }

    /// Ends the stream behind what was sent so far.
    void endStream()
    {
        ASSERT_TRUE(waitUntilDelivered(m_pair.client()));
        m_pair.closeClient();
    }

    /// Every call of a broken channel fails, and at once.
    void expectBroken()
    {
        EXPECT_TRUE(m_channel.isBroken());
        const Background calls([this] {
            int kind = 0;
            QString text = "untouched"_s;
            return !m_channel.recv(anyKind, text) && !m_channel.recvAny(kind, text)
                && !m_channel.send(anyKind, text) && text == "untouched"_s && kind == 0;
        });
        EXPECT_EQ(calls.wait(seconds(1)), true);
        m_pair.closeClient(); // ends calls that wait against expectation
        m_pair.closeServer();
    }

    UdtPair m_pair;
    StopFlags m_flags;
    MessageChannel m_channel{m_pair.server(), &m_flags};
    MessageChannel m_client{m_pair.client()};
    QString m_text;
};

} // namespace VESK::Test
