#pragma once

#include "vesk_base/export.h"
#include "vesk_base/stop_flags.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <chrono>
#include <limits>

namespace VESK
{

/// Moves framed messages over one UDT connection, in both directions.
///
/// Handlers use a channel inside `VeskBase::send` and `recv`; hosts use one of their own for messages of kind
/// 32 and up, on the same connection and between tasks. The socket stays the caller's, blocking or not.
///
/// A channel waits in slices of 50 ms, looks at its stop flags after each, and otherwise waits without
/// limit unless the socket has a UDT_RCVTIMEO or UDT_SNDTIMEO: that is then the longest time without
/// progress. Options that it changes meanwhile are put back before it returns.
///
/// Not thread-safe: one thread sends and receives; only the flags may be touched by others.
class VESK_BASE_EXPORT MessageChannel
{
public:
    /// `flags`, if given, must outlive the channel.
    explicit MessageChannel(int socket, StopFlags *flags = nullptr);

    /// Sends one message. False when the text is no valid UTF-16 or too long (nothing is sent then), when
    /// the connection fails, when the idle limit passes or when a stop comes in.
    [[nodiscard]] bool send(int kind, const QString &text);

    /// Receives one message, which must be of `kind`. False on anything else: a message of another kind is
    /// consumed and leaves the stream in step, as does one whose text is no valid UTF-8; a stop or the idle
    /// limit before the first byte leaves it in step too; a bad header or a cut frame breaks the channel.
    [[nodiscard]] bool recv(int kind, QString &text);

    /// Receives one message of whatever kind and says which; otherwise like `recv`.
    [[nodiscard]] bool recvAny(int &kind, QString &text);

    /// What a stranger may ask of this end: `recv` and `recvAny` break the channel at a payload over
    /// `payloadBytes`, and neither they nor `send` go on after `deadline`, whatever progress they make. To
    /// the end of the channel; without it, a message may have the length that its kind allows and take any
    /// time.
    void limit(int payloadBytes, std::chrono::steady_clock::time_point deadline);

    int socket() const { return m_socket; }

    /// The stream is out of step; every call fails at once, and the connection can only be closed.
    bool isBroken() const { return m_broken; }

    /// Code of the UDT error that ended the last failed call, 0 when it was no UDT error.
    int lastErrorCode() const { return m_lastErrorCode; }

private:
    class Wait;

    bool sendAll(const QByteArray &frame, Wait &wait);
    bool receiveAll(char *data, int size, Wait &wait);
    bool receivePayload(int total, QByteArray &payload, Wait &wait);

    const int m_socket;
    StopFlags *const m_flags;
    int m_maxPayload = std::numeric_limits<int>::max(); // bytes, besides the limit of the kind
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    bool m_broken = false;
    int m_lastErrorCode = 0;
};

} // namespace VESK
