#include "transport/congestion/vesk_congestion_control.h"

#include "transport/congestion/congestion_trace.h"
#include "transport/congestion/udt_packet.h"

#include <chrono>

namespace VESK
{

namespace
{

constexpr int lossReportType = 3;
constexpr int customType = 0x7FFF;
constexpr std::int32_t lastOfBlock = 0x40000000; // in a data packet's second word

constexpr int ackTimerUs = 10000;

TimeUs nowUs()
{
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(sinceStart).count();
}

} // namespace

VeskCongestionControl::VeskCongestionControl() = default;
VeskCongestionControl::~VeskCongestionControl() = default;

void VeskCongestionControl::init()
{
    // Both directions of a connection begin with the same number.
    const Sequence first = sequenceAfter(m_iSndCurrSeqNo, 1);
    m_receiver = ReceivingEnd(first);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sender = SendingEnd(first);
    setACKTimer(ackTimerUs);
    update();
}

void VeskCongestionControl::update()
{
    m_dPktSndPeriod = m_sender.sendPeriodUs();
    m_dCWndSize = m_sender.congestionWindow();
}

void VeskCongestionControl::onACK(int32_t next)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sender.onAck(next, nowUs());
    update();
}

void VeskCongestionControl::onLoss(const int32_t *words, int count)
{
    // The words lie in the library's receive buffer, and it reads them after this call.
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sender.onLossReport(const_cast<int32_t *>(words), static_cast<std::size_t>(count), nowUs());
    update();
}

void VeskCongestionControl::onTimeout()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sender.onSilence();
    update();
}

void VeskCongestionControl::onPktSent(const CPacket *packet)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sender.onSent(packet->m_iSeqNo, nowUs());
}

void VeskCongestionControl::onPktReceived(const CPacket *packet)
{
    const TimeUs now = nowUs();
    m_receiver.onArrival(packet->m_iSeqNo, now, m_iRTT, (packet->m_iMsgNo & lastOfBlock) != 0);
    if (m_receiver.ackInterval() != m_ackInterval) {
        m_ackInterval = m_receiver.ackInterval();
        setACKInterval(m_ackInterval);
    }
    if (!m_receiver.isFeedbackDue(now))
        return;
    Feedback::Words words = m_receiver.feedback(now).toWords();
    sendControl(customType, words.data(), words.size());
    if (!m_receiver.isLossReportDue(now))
        return;
    std::vector<std::int32_t> report = m_receiver.lossReport(now);
    sendControl(lossReportType, report.data(), report.size());
}

void VeskCongestionControl::sendControl(int type, std::int32_t *words, std::size_t count) const
{
    CPacket packet;
    packControl(&packet, type, words, count);
    sendCustomMsg(packet);
}

void VeskCongestionControl::processCustomMsg(const CPacket *packet)
{
    const TimeUs now = nowUs();
    const auto *const words = reinterpret_cast<const std::int32_t *>(packet->m_pcData);
    const std::size_t count = packetDataSize(*packet) / sizeof(*words);
    if (count > 0 && words[0] == senderGreeting) {
        m_receiver.onGreeting();
        return;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_sender.onFeedback(words, count, now))
        return;
    update();
    if (m_sender.isGreetingDue()) {
        std::int32_t greeting = senderGreeting;
        sendControl(customType, &greeting, 1);
    }
    CongestionTrace::instance().write(this, m_sender, now);
}

} // namespace VESK
