#include "transport/congestion/rate_model.h"

#include <algorithm>
#include <array>

namespace VESK
{

namespace
{

// Before anything is known: a short train of packets, all at once. The rate at which it arrives, up to that
// of a line of 350 Mbit/s, is a first guess at what the line can do; the second round uses part of it, and
// its window is limited, in case that the guess is wrong.
constexpr double unpacedRate = 500000; // packets per second
constexpr double firstRate = 32000; // packets per second
constexpr int firstWindow = 64; // packets
constexpr double trainShare = 0.75;
constexpr double knownLineGain = 1.4;
constexpr int secondWindow = 1024; // packets
constexpr int minWindow = 8; // packets
constexpr double minRate = 10; // packets per second

// The smallest gain that doubles the rate delivered every round: 2 / ln 2.
constexpr double startupGain = 2.885;
constexpr double growth = 1.25; // a round that brings less has not grown
constexpr int fullRounds = 3;

constexpr std::int64_t rateRounds = 10; // how long a delivery rate is believed

// The first phase asks whether there is more, the second takes back what that has queued.
// The others stay a little below the measured rate, lest the queue grows by the errors of measuring.
constexpr double cruise = 0.985;
constexpr std::array<double, 8> cycle{1.25, 0.75, cruise, cruise, cruise, cruise, cruise, cruise};
constexpr int upPhase = 0;
constexpr int downPhase = 1;
constexpr int maxUpRounds = 3;
constexpr int maxDownRounds = 3; // others may keep the queue filled
constexpr TimeUs minPhase = 5000; // feedback comes every 3 ms
constexpr double windowGain = 2;

constexpr double maxProbeLoss = 0.05;
constexpr int overrunsOfSlowerLine = 3;
constexpr double lossOfSlowerLine = 0.35; // in one round: others who overflow the queue cause less

// Beside others a connection keeps so many packets in the queue. When all do, all get the same.
constexpr double sharePackets = 64;
constexpr double shareSeconds = 0.004; // or what the line does in this time, where that is more
constexpr double shareStep = 0.5; // per round, towards that
constexpr double minShare = 0.45; // of the line: those who would fill any queue do not get it all
constexpr double shareWindowGain = 1.25; // the pace does it; the window is there for when that fails
constexpr int roundsUntilShare = 3;
constexpr double keptQueue = 0.85; // of the round before
constexpr std::int64_t lineRateMemory = 30000000;

// A round-trip time as short as this has no line in it: threads of one machine, which wait for each other
// best without a pace. The window fits into a UDP buffer of 4 MB; where that is smaller, losses bring the
// pace back.
constexpr TimeUs sameMachineRtt = 100;
constexpr double sameMachineLoss = 0.001;
constexpr int sameMachineWindow = 1000; // packets

constexpr TimeUs maxWithoutLook = 10000000; // at the empty line
constexpr TimeUs rttProbeTime = 200000;
constexpr double rttProbeGain = 0.5;

// Feedback comes this late at most, and the window must not be used up by that.
constexpr TimeUs feedbackDelay = 4000;
constexpr TimeUs meanFeedbackDelay = feedbackDelay / 2;

} // namespace

RateModel::RateModel()
    : m_rate(rateRounds)
    , m_lineRate(lineRateMemory)
    , m_gain(startupGain)
{
}

void RateModel::onSample(const DeliverySample &sample, TimeUs now, int inFlight, std::uint64_t lost)
{
    m_isSilent = false;
    m_queue.onSample(sample, now);
    updateRound(sample, now, lost);
    updateTrain(sample);
    m_roundRate = std::max(m_roundRate, sample.rate);
    if (sample.rate > 0 && (!sample.isAppLimited || sample.rate >= m_rate.value()))
        m_rate.add(sample.rate, m_round);
    m_lineRate.add(sample.rate, now);
    if (m_state == State::Startup && m_isRoundStart)
        checkGrowth(sample);
    if (m_state == State::Startup)
        checkQueue();
    if (m_state == State::Drain)
        checkDrain(now, inFlight);
    if (m_state == State::Probe)
        checkCycle(now, inFlight);
    if (m_isRoundStart)
        checkShare(now, inFlight);
    checkRttProbe(now, inFlight);
}

void RateModel::onSilence()
{
    m_isSilent = true;
}

void RateModel::updateTrain(const DeliverySample &sample)
{
    m_isTrainOver = m_isTrainOver || (m_trainRate > 0 && m_isRoundStart);
    if (m_isTrainOver)
        return;
    m_train.add(sample.delivered, sample.clockUs);
    m_trainRate = std::min(m_train.rate(), firstRate);
}

void RateModel::updateRound(const DeliverySample &sample, TimeUs now, std::uint64_t lost)
{
    m_isRoundStart = sample.deliveredBefore >= m_roundEnd;
    if (m_isRoundStart)
        endRound(sample, now, lost);
}

void RateModel::endRound(const DeliverySample &sample, TimeUs now, std::uint64_t lost)
{
    ++m_round;
    m_roundEnd = sample.delivered;
    const auto arrived = static_cast<double>(sample.delivered - m_deliveredAtRound);
    const auto missed = static_cast<double>(lost - m_lostAtRound);
    m_lossRatio = missed > 0 ? missed / (missed + arrived) : 0;
    m_deliveredAtRound = sample.delivered;
    m_lostAtRound = lost;
    m_queue.endRound();
    // A queue and many losses: the line does less than it did, and what it did counts no longer. Losses
    // alone do not mean that. Others who overflow the queue do so now and then, not round by round.
    const bool isOverrun =
        m_state != State::Startup && m_lossRatio > maxProbeLoss && m_queue.isThere() && m_roundRate > 0;
    m_overruns = isOverrun ? m_overruns + 1 : 0;
    if (isOverrun)
        m_rate.reset(m_roundRate, m_round);
    if (m_overruns >= overrunsOfSlowerLine || (isOverrun && m_lossRatio > lossOfSlowerLine)) {
        m_lineRate.reset(m_roundRate, now);
        m_trainRate = std::min(m_trainRate, m_roundRate);
        m_queueRounds = 0;
    }
    m_roundRate = 0;
}

void RateModel::checkQueue()
{
    // With a queue before the line that was never empty, packets arrive at the line's rate, and need not be
    // counted for a round trip to know it.
    if (!m_queue.isThere() || m_queue.ofMomentUs() < QueueMeter::noise || m_queue.arrivalRate() <= 0)
        return;
    m_rate.add(m_queue.arrivalRate(), m_round);
    leaveStartup();
}

void RateModel::checkGrowth(const DeliverySample &sample)
{
    if (sample.isAppLimited)
        return;
    if (m_rate.value() >= m_fullRate * growth) {
        m_fullRate = m_rate.value();
        m_roundsWithoutGrowth = 0;
        return;
    }
    ++m_roundsWithoutGrowth;
    if (m_roundsWithoutGrowth >= fullRounds)
        leaveStartup();
}

void RateModel::leaveStartup()
{
    m_state = State::Drain;
    m_gain = 1 / startupGain;
    m_drainRounds = 0;
}

void RateModel::checkDrain(TimeUs now, int inFlight)
{
    if (m_isRoundStart)
        ++m_drainRounds;
    if (inFlight <= target(1) || m_drainRounds > fullRounds)
        enterProbe(now, laterPhase(now));
}

int RateModel::laterPhase(TimeUs now) const
{
    // Not all flows of a line probe at the same moment: the times at which they get here differ.
    return downPhase + 1 + static_cast<int>(now / 1000 % (cycle.size() - 2));
}

void RateModel::enterProbe(TimeUs now, int phase)
{
    m_state = State::Probe;
    m_phase = phase;
    m_rateBeforeUp = m_rate.value();
    m_phaseStart = now;
    m_gain = cycle[static_cast<std::size_t>(m_phase)];
    m_queueRounds = 0;
}

double RateModel::lineRate() const
{
    return std::max(m_lineRate.value(), std::min(m_trainRate, firstRate));
}

void RateModel::restart()
{
    // There is so much more that a quarter more per cycle would take too long.
    m_state = State::Startup;
    m_gain = startupGain;
    m_trainRate = 0;
    m_fullRate = m_rate.value();
    m_roundsWithoutGrowth = 0;
}

void RateModel::checkShare(TimeUs now, int inFlight)
{
    if (m_state == State::Probe) {
        // In the other phases the queue may be of this connection's making.
        if (m_phase <= downPhase + 1)
            return;
        // One that drains is what is left of a line that has become slower, or of a probe.
        const bool isKept = m_queue.standingUs() >= QueueMeter::noise
            && static_cast<double>(m_queue.standingUs())
                > keptQueue * static_cast<double>(m_queue.standingBeforeUs());
        m_queueRounds = isKept ? m_queueRounds + 1 : 0;
        m_hasMadeRoom = m_hasMadeRoom && m_queue.standingUs() >= QueueMeter::noise;
        if (m_queueRounds < roundsUntilShare)
            return;
        // It may still be of this connection's making, and goes away then.
        if (!m_hasMadeRoom) {
            m_hasMadeRoom = true;
            enterProbe(now, downPhase);
            return;
        }
        m_state = State::Share;
        m_shareWindow = inFlight;
    }
    if (m_state != State::Share)
        return;
    if (m_queue.standingUs() < QueueMeter::noise / 2) {
        enterProbe(now, upPhase);
        return;
    }
    const auto unqueued = static_cast<double>(m_queue.minRttUs() + meanFeedbackDelay);
    const double rtt = unqueued + static_cast<double>(m_queue.standingUs());
    const double packets = std::max(sharePackets, lineRate() * shareSeconds);
    m_shareWindow += shareStep * (m_shareWindow * unqueued / rtt + packets - m_shareWindow);
    m_shareWindow = std::max(m_shareWindow, minShare * lineRate() * rtt * 1e-6);
}

void RateModel::checkCycle(TimeUs now, int inFlight)
{
    const TimeUs time = now - m_phaseStart;
    if (m_phase == upPhase && !m_queue.isThere() && m_rate.value() > m_rateBeforeUp * growth) {
        restart();
        return;
    }
    bool isOver = time > std::max(m_queue.minRttUs(), minPhase);
    // More is asked for until there is a queue, so that a line that has become faster is found soon.
    if (m_phase == upPhase)
        isOver = isOver
            && (m_queue.isThere() || m_lossRatio > maxProbeLoss || time > maxUpRounds * m_queue.minRttUs());
    if (m_phase == downPhase)
        isOver = inFlight <= target(1) || time > std::max(maxDownRounds * m_queue.minRttUs(), minPhase);
    if (!isOver)
        return;
    m_rateBeforeUp = m_rate.value();
    m_phase = (m_phase + 1) % static_cast<int>(cycle.size());
    m_phaseStart = now;
    m_gain = cycle[static_cast<std::size_t>(m_phase)];
}

void RateModel::checkRttProbe(TimeUs now, int inFlight)
{
    if (m_state != State::RttProbe) {
        if (m_state == State::Startup || m_queue.minRttUs() == 0
            || now - m_queue.emptySeen() <= maxWithoutLook)
            return;
        m_state = State::RttProbe;
        m_gain = 1;
        m_rttProbeEnd = 0;
    }
    if (m_rttProbeEnd == 0 && inFlight <= window())
        m_rttProbeEnd = now + rttProbeTime;
    if (m_rttProbeEnd == 0 || now < m_rttProbeEnd)
        return;
    m_queue.noteEmpty(now);
    enterProbe(now, laterPhase(now));
}

double RateModel::target(double gain) const
{
    // What the way back holds up is under way, too, and no fault of the queue before the line.
    const TimeUs way =
        std::clamp(m_queue.rttUs() - m_queue.smoothedUs(), m_queue.minRttUs(), 2 * m_queue.minRttUs());
    const auto seconds = static_cast<double>(way + feedbackDelay) * 1e-6;
    return gain * m_rate.value() * seconds;
}

bool RateModel::isUnpaced() const
{
    return m_queue.minRttUs() > 0 && m_queue.minRttUs() < sameMachineRtt && m_lossRatio < sameMachineLoss
        && !m_isSilent;
}

double RateModel::pacingRate() const
{
    if (isUnpaced())
        return unpacedRate;
    if (m_isSilent && m_rate.value() > 0)
        return std::max(m_rate.value() / 4, minRate);
    // Nothing is known, or from a few messages only.
    if (m_state == State::Startup && m_trainRate <= 0 && !m_isTrainOver)
        return unpacedRate;
    if (m_state == State::Share)
        return std::max(m_shareWindow * 1e6
                            / static_cast<double>(m_queue.minRttUs()
                                                  + std::min(m_queue.latestUs(), 2 * m_queue.standingUs())
                                                  + meanFeedbackDelay),
                        minRate);
    const double rate = std::max(m_rate.value() * m_gain, minRate);
    return m_state == State::Startup ? startupRate(rate) : rate;
}

double RateModel::startupRate(double rate) const
{
    // A train that arrived more slowly than it was sent has met the line's limit, or something near it.
    if (m_trainRate > 0 && m_trainRate < firstRate * trainShare) {
        const bool isExceeded = m_rate.value() > m_trainRate * growth;
        rate = std::min(rate, isExceeded ? m_rate.value() * 2 : m_trainRate * knownLineGain);
    }
    return std::max(rate, m_trainRate * trainShare);
}

int RateModel::window() const
{
    if (isUnpaced())
        return std::max(sameMachineWindow, static_cast<int>(target(windowGain)));
    if (m_rate.value() <= 0)
        return firstWindow;
    if (m_state == State::RttProbe)
        return std::max(minWindow, static_cast<int>(target(rttProbeGain)));
    if (m_state == State::Startup) {
        const double train = m_trainRate * static_cast<double>(m_queue.minRttUs() + feedbackDelay) * 1e-6;
        return std::max({firstWindow, std::min(secondWindow, static_cast<int>(train)),
                         static_cast<int>(target(startupGain))});
    }
    if (m_state == State::Share) {
        const double way = static_cast<double>(m_queue.rttUs() + feedbackDelay) * 1e-6;
        return std::max(minWindow, static_cast<int>(pacingRate() * way * shareWindowGain + sharePackets));
    }
    return std::max(minWindow, static_cast<int>(target(windowGain)));
}

} // namespace VESK
