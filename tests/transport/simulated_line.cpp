#include "tests/transport/simulated_line.h"

#include "transport/congestion/loss_report.h"

#include <algorithm>

namespace VESK::Test
{

namespace
{
constexpr TimeUs ackInterval = 10000;
constexpr TimeUs step = 10;
} // namespace

SimulatedLine::SimulatedLine(const LineSettings &lineSettings, int flows, std::uint32_t seed)
    : settings(lineSettings)
    , m_random(seed)
    , m_flows(static_cast<std::size_t>(flows))
{
    for (Flow &flow : m_flows) {
        flow.sender = SendingEnd(settings.first);
        flow.receiver = ReceivingEnd(settings.first);
        flow.receiver.onGreeting();
    }
}

bool SimulatedLine::isLost()
{
    return std::uniform_real_distribution<>(0, 1)(m_random) < settings.loss;
}

void SimulatedLine::run(double seconds)
{
    const TimeUs end = m_now + static_cast<TimeUs>(seconds * 1e6);
    for (; m_now < end; m_now += step) {
        while (!m_events.empty() && m_events.begin()->first <= m_now) {
            const Event event = m_events.begin()->second;
            m_events.erase(m_events.begin());
            deliver(event);
        }
        for (std::size_t index = 0; index < m_flows.size(); ++index)
            if (m_flows[index].isActive)
                send(index);
    }
}

void SimulatedLine::send(std::size_t index)
{
    Flow &flow = m_flows[index];
    while (flow.nextSend <= static_cast<double>(m_now)) {
        int offset = flow.next;
        if (!flow.lossList.empty()) {
            offset = *flow.lossList.begin();
            flow.lossList.erase(flow.lossList.begin());
        } else if (flow.next >= flow.end
                   || flow.sender.congestionWindow() < flow.next - flow.acknowledged + 1) {
            return;
        } else {
            ++flow.next;
        }
        const Sequence sequence = sequenceAfter(settings.first, offset);
        flow.sender.onSent(sequence, m_now);
        ++flow.sent;
        flow.nextSend =
            std::max(flow.nextSend, static_cast<double>(m_now - step)) + flow.sender.sendPeriodUs() * 15 / 16;
        if (queueUs() > settings.queueUs)
            continue;
        m_lineFreeUs = std::max(m_lineFreeUs, m_now) + static_cast<TimeUs>(1e6 / settings.packetsPerSecond);
        m_longestQueue = std::max(m_longestQueue, queueUs());
        const TimeUs jitter = settings.jitterUs == 0
            ? 0
            : std::uniform_int_distribution<TimeUs>(0, settings.jitterUs)(m_random);
        if (!isLost())
            m_events.emplace(m_lineFreeUs + settings.rttUs / 2 + jitter, Event{index, sequence, {}, {}, -1});
    }
}

void SimulatedLine::deliver(const Event &event)
{
    Flow &flow = m_flows[event.flow];
    if (event.sequence >= 0)
        deliverData(event.flow, event.sequence);
    if (!event.feedback.empty())
        (void)flow.sender.onFeedback(event.feedback.data(), event.feedback.size(), m_now);
    if (event.ack >= 0) {
        flow.acknowledged = std::max(flow.acknowledged, event.ack);
        flow.sender.onAck(sequenceAfter(settings.first, flow.acknowledged), m_now);
        flow.lossList.erase(flow.lossList.begin(), flow.lossList.lower_bound(flow.acknowledged));
    }
    if (event.report.empty())
        return;
    std::vector<std::int32_t> words = event.report;
    flow.sender.onLossReport(words.data(), words.size(), m_now);
    const Sequence first = sequenceAfter(settings.first, flow.acknowledged);
    for (const SequenceRange &range :
         LossReport(words.data(), words.size()).rangesWithin(first, sequenceAfter(settings.first, flow.next)))
        for (int i = 0; i <= sequenceOffset(range.first, range.last); ++i)
            flow.lossList.insert(sequenceOffset(settings.first, range.first) + i);
}

void SimulatedLine::deliverData(std::size_t index, Sequence sequence)
{
    Flow &flow = m_flows[index];
    const auto offset = static_cast<std::size_t>(sequenceOffset(settings.first, sequence));
    if (flow.has.size() <= offset)
        flow.has.resize(offset + 1);
    flow.has[offset] = true;
    flow.receiver.onArrival(sequence, m_now, settings.rttUs, static_cast<int>(offset) + 1 == flow.end);
    if (flow.receiver.isFeedbackDue(m_now)) {
        const Feedback::Words words = flow.receiver.feedback(m_now).toWords();
        answer({index, -1, {words.begin(), words.end()}, {}, -1});
        if (flow.receiver.isLossReportDue(m_now))
            answer({index, -1, {}, flow.receiver.lossReport(m_now), -1});
    }
    if (m_now < flow.nextAck && flow.receiver.ackInterval() > 1)
        return;
    flow.nextAck = m_now + ackInterval;
    const auto gap = std::find(flow.has.begin() + flow.acknowledged, flow.has.end(), false);
    answer({index, -1, {}, {}, static_cast<int>(gap - flow.has.begin())});
}

void SimulatedLine::answer(Event event)
{
    if (!isLost())
        m_events.emplace(m_now + settings.rttUs / 2, std::move(event));
}

} // namespace VESK::Test
