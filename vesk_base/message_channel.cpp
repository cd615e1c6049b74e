#include "vesk_base/message_channel.h"

#include "vesk_base/frame.h"
#include "vesk_base/full_packet.h"
#include "vesk_base/socket_option.h"

#include <algorithm>
#include <chrono>

namespace VESK
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int sliceMs = 50; // longest time in one UDT call, and so the delay of a stop
constexpr std::chrono::seconds patienceAfterStop(2);
constexpr int firstBuffer = 64 << 10; // bytes; the buffer doubles from here as they come in

/// How much to hand to the next UDT::send.
int nextPortion(int remaining, int payload)
{
    return endsWithFullPacket(remaining, payload) ? remaining - 1 : remaining;
}

} // namespace

/// The waiting of one `send` or `recv`: blocking calls in short slices, with a look at the flags between.
class MessageChannel::Wait
{
public:
    enum class Direction { Sending, Receiving };

    Wait(UDTSOCKET socket, StopFlags *flags, Direction direction, Clock::time_point deadline)
        : m_flags(flags)
        , m_deadline(deadline)
        , m_blocking(socket, direction == Direction::Sending ? UDT_SNDSYN : UDT_RCVSYN, true)
        , m_timeout(socket, direction == Direction::Sending ? UDT_SNDTIMEO : UDT_RCVTIMEO, sliceMs)
        , m_idleLimitMs(m_timeout.oldValue(-1))
        , m_lastProgress(Clock::now())
    {
        if (m_flags)
            m_flags->active = true;
    }

    void progressed()
    {
        m_lastProgress = Clock::now();
        m_anyProgress = true;
    }

    bool anyProgress() const { return m_anyProgress; }

    /// Did a stop come since the call began?
    bool isStopped() const { return m_flags && !m_flags->active; }

    /// May another slice be spent?
    bool mayGoOn() const
    {
        const auto idle = Clock::now() - m_lastProgress;
        if (isStopped())
            return false;
        if (m_flags && m_flags->stopRequested && idle >= patienceAfterStop)
            return false;
        if (Clock::now() >= m_deadline)
            return false;
        return m_idleLimitMs < 0 || idle < std::chrono::milliseconds(m_idleLimitMs);
    }

private:
    StopFlags *const m_flags;
    const Clock::time_point m_deadline;
    const ScopedSocketOption<bool> m_blocking;
    const ScopedSocketOption<int> m_timeout;
    const int m_idleLimitMs;
    Clock::time_point m_lastProgress;
    bool m_anyProgress = false;
};

MessageChannel::MessageChannel(int socket, StopFlags *flags)
    : m_socket(socket)
    , m_flags(flags)
{
}

void MessageChannel::limit(int payloadBytes, Clock::time_point deadline)
{
    m_maxPayload = payloadBytes;
    m_deadline = deadline;
}

bool MessageChannel::send(int kind, const QString &text)
{
    m_lastErrorCode = 0;
    if (m_broken)
        return false;

    // Before the frame is made: of a long listing that takes a while, and a stop meanwhile is one of this
    // call.
    Wait wait(m_socket, m_flags, Wait::Direction::Sending, m_deadline);
    const std::optional<QByteArray> frame = writeFrame(kind, text);
    if (!frame || wait.isStopped())
        return false;
    if (sendAll(*frame, wait))
        return true;
    m_broken = wait.anyProgress();
    return false;
}

bool MessageChannel::recv(int kind, QString &text)
{
    int receivedKind = 0;
    QString content;
    if (!recvAny(receivedKind, content) || receivedKind != kind)
        return false;
    text = content;
    return true;
}

bool MessageChannel::recvAny(int &kind, QString &text)
{
    m_lastErrorCode = 0;
    if (m_broken)
        return false;

    Wait wait(m_socket, m_flags, Wait::Direction::Receiving, m_deadline);
    char bytes[frameHeaderSize];
    if (!receiveAll(bytes, frameHeaderSize, wait)) {
        m_broken = wait.anyProgress();
        return false;
    }
    const std::optional<FrameHeader> header = readFrameHeader(bytes);
    QByteArray payload;
    if (!header || header->length > m_maxPayload || !receivePayload(header->length, payload, wait)) {
        m_broken = true;
        return false;
    }
    kind = header->kind;
    const std::optional<QString> decoded = readPayload(payload);
    if (!decoded)
        return false;
    text = *decoded;
    return true;
}

bool MessageChannel::sendAll(const QByteArray &frame, Wait &wait)
{
    const int fullPacket = packetPayload(m_socket);
    int sent = 0;
    while (sent < frame.size()) {
        const int count =
            UDT::send(m_socket, frame.constData() + sent, nextPortion(frame.size() - sent, fullPacket), 0);
        if (count > 0) {
            sent += count;
            wait.progressed();
        } else if (const int code = UDT::getlasterror().getErrorCode(); code != CUDTException::ETIMEOUT) {
            m_lastErrorCode = code;
            return false;
        }
        if (sent < frame.size() && !wait.mayGoOn())
            return false;
    }
    return true;
}

bool MessageChannel::receiveAll(char *data, int size, Wait &wait)
{
    int received = 0;
    while (received < size) {
        const int count = UDT::recv(m_socket, data + received, size - received, 0);
        if (count > 0) {
            received += count;
            wait.progressed();
        } else if (const int code = UDT::getlasterror().getErrorCode(); code != CUDTException::ETIMEOUT) {
            m_lastErrorCode = code;
            return false;
        }
        if (received < size && !wait.mayGoOn())
            return false;
    }
    return true;
}

bool MessageChannel::receivePayload(int total, QByteArray &payload, Wait &wait)
{
    // The announced length is only a claim: memory follows the bytes that really come.
    int received = 0;
    while (received < total) {
        const int portion = std::min(total - received, std::max(firstBuffer, received));
        payload.resize(received + portion);
        if (!receiveAll(payload.data() + received, portion, wait))
            return false;
        received += portion;
    }
    return true;
}

} // namespace VESK
