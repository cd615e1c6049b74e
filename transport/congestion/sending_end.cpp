#include "transport/congestion/sending_end.h"

#include <algorithm>

namespace VESK
{

namespace
{

// UDT sends every 16th new packet at once after the one before.
constexpr double pacedShare = 15.0 / 16;

constexpr double maxPeriodUs = 100000;
constexpr double minPeriodUs = 1;

// Packets that are not overtaken on the line are, by this, between the threads of both ends.
constexpr TimeUs minReorderWindow = 500;
constexpr TimeUs maxReorderOfShortLine = 2000;

// A pause in sending of this many periods, while the window is open, means that there is nothing to send.
constexpr double pausePeriods = 8;
constexpr TimeUs minPause = 5000;

// With nothing under way, packets leave without a pace, which may be old by then, or was found by messages:
// between two packets the library may sleep for 10 ms, and a small file is one burst. It looks at the pace
// and the window as seldom as that, so that the window keeps a burst that turns out to be long to what the
// line carries in some time.
constexpr int shortBurst = 16; // packets
constexpr int minBurstWindow = 64; // packets
constexpr double burstWindowSeconds = 0.02;

// A small report may name a whole window. Honest peers report every 4 ms, and only what is missing.
constexpr double maxPatience = 1 << 16; // packets
constexpr double patiencePerUs = 4;

} // namespace

SendingEnd::SendingEnd(Sequence first)
    : m_sampler(first)
    , m_complete(first)
{
}

void SendingEnd::onSent(Sequence sequence, TimeUs now)
{
    SentPackets &packets = m_sampler.packets();
    if (sequence == packets.next()) {
        m_burst = inFlight() == 0 ? 1 : m_burst + 1;
        const auto pause = static_cast<double>(now - m_lastSent);
        const bool isPause = pause > sendPeriodUs() * pausePeriods + minPause;
        if (isPause && !m_isWindowFull)
            m_sampler.onPause(inFlight());
        m_sampler.onSent(now);
        m_isWindowFull = inFlight() >= m_model.window();
    } else if (m_sampler.onRepeated(sequence, now)) {
        ++m_repeatsInFlight;
    }
    m_lastSent = now;
}

void SendingEnd::onAck(Sequence next, TimeUs now)
{
    const Sequence before = m_sampler.packets().first();
    if (!m_hasFeedback && sequenceOffset(before, next) > 0) {
        Feedback feedback;
        feedback.received = static_cast<std::uint32_t>(m_sampler.delivered())
            + static_cast<std::uint32_t>(sequenceOffset(before, next));
        feedback.highest = sequenceAfter(next, -1);
        feedback.clockUs = static_cast<std::uint32_t>(now);
        feedback.complete = next;
        (void)takeSample(feedback, now); // one that cannot be true is as good as none
    }
    m_sampler.acknowledge(next);
    if (before != m_sampler.packets().first())
        m_lastProgress = now;
}

bool SendingEnd::onFeedback(const std::int32_t *words, std::size_t count, TimeUs now)
{
    const std::optional<Feedback> feedback = Feedback::fromWords(words, count);
    if (!feedback)
        return false;
    if (!m_hasFeedback)
        m_sampler.changeClock();
    if (!takeSample(*feedback, now))
        return false;
    m_hasFeedback = true;
    m_isGreetingDue = !feedback->knowsSender;
    m_complete = feedback->complete;
    m_reorder = static_cast<TimeUs>(feedback->reorderUs);
    return true;
}

bool SendingEnd::takeSample(const Feedback &feedback, TimeUs now)
{
    DeliverySample sample;
    if (!m_sampler.onFeedback(feedback, now, &sample))
        return false;
    if (sequenceOffset(feedback.highest, feedback.complete) > 0)
        m_repeatsInFlight = 0;
    m_model.onSample(sample, now, inFlight(), m_lost);
    return true;
}

TimeUs SendingEnd::reorderWindow() const
{
    const TimeUs limit = m_model.minRttUs() / 2 + maxReorderOfShortLine;
    return std::clamp(m_reorder + m_reorder / 4, minReorderWindow, limit);
}

bool SendingEnd::isWorthRepeating(Sequence sequence)
{
    SentPacket *const packet = m_sampler.packets().find(sequence);
    if (!packet || packet->isTakenForLost)
        return true; // on its way to being sent again, as far as is known
    // One that was sent later, by more than what is overtaken on this line, has arrived.
    if (m_hasFeedback && packet->sentUs + reorderWindow() > m_sampler.newestDeliveredSentUs()) {
        m_repeatsInFlight += packet->isRepeated ? 1 : 0;
        return false;
    }
    packet->isTakenForLost = true;
    ++m_lost;
    return true;
}

void SendingEnd::keepWhatIsLost(LossReport *report, TimeUs now)
{
    m_patience = std::min(maxPatience, m_patience + patiencePerUs * static_cast<double>(now - m_lastReport));
    m_lastReport = now;
    const SentPackets &packets = m_sampler.packets();
    for (const SequenceRange &range : report->rangesWithin(packets.first(), packets.next())) {
        for (int left = sequenceOffset(range.first, range.last); left >= 0; --left) {
            if (m_patience < 1)
                return;
            --m_patience;
            if (isWorthRepeating(sequenceAfter(range.last, -left)))
                report->keep(sequenceAfter(range.last, -left));
        }
    }
}

void SendingEnd::onLossReport(std::int32_t *words, std::size_t count, TimeUs now)
{
    // The library's own reports come at once, and once only: ours say the same a little later, when it is
    // known whether a packet was just overtaken.
    LossReport report(words, count);
    const bool isOurs = count >= LossReport::minWords;
    if (isOurs)
        m_repeatsInFlight = 0;
    if (!m_hasFeedback || isOurs)
        keepWhatIsLost(&report, now);
    report.writeKept(sequenceAfter(m_sampler.packets().first(), -1));
}

void SendingEnd::onSilence()
{
    m_model.onSilence();
}

int SendingEnd::inFlight() const
{
    // The last packets of a burst may be acknowledged without further feedback.
    const SentPackets &packets = m_sampler.packets();
    const Sequence arriving = m_sampler.nextToArrive();
    const Sequence from = sequenceOffset(arriving, packets.first()) > 0 ? packets.first() : arriving;
    return sequenceOffset(from, packets.next()) + m_repeatsInFlight;
}

bool SendingEnd::isShortBurst() const
{
    return inFlight() == 0 || m_burst < shortBurst;
}

double SendingEnd::sendPeriodUs() const
{
    if (isShortBurst())
        return minPeriodUs;
    return std::clamp(1e6 / m_model.pacingRate() / pacedShare, minPeriodUs, maxPeriodUs);
}

double SendingEnd::congestionWindow() const
{
    int window = m_model.window();
    if (isShortBurst())
        window = std::min(
            window, std::max(minBurstWindow, static_cast<int>(m_model.deliveryRate() * burstWindowSeconds)));
    const int room = std::max(0, window - inFlight());
    return std::max(16, m_sampler.packets().count() + room);
}

} // namespace VESK
