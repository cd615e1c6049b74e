#pragma once

#include "transport/congestion/delivery_sampler.h"
#include "transport/congestion/packet_train.h"
#include "transport/congestion/queue_meter.h"
#include "transport/congestion/windowed_filter.h"

namespace VESK
{

/// The model of the line that the sending rate follows: how much it delivers, and how long a packet takes
/// when no queue stands in its way. See docs/congestion.md. Knows no clock and no packet. For one thread at
/// a time.
class RateModel
{
public:
    enum class State {
        Startup, ///< faster every round, until the line delivers no more
        Drain, ///< lets the queue empty that this has made
        Probe, ///< at the line's rate, a little above it now and then, a little below it afterwards
        Share, ///< beside others, who keep a queue filled: a fair part of the line, and of the queue
        RttProbe, ///< nearly nothing under way for a moment, to see the line without a queue
    };

    RateModel();

    /// One feedback's findings. `inFlight`: packets under way; `lost`: packets taken for lost, in total.
    void onSample(const DeliverySample &sample, TimeUs now, int inFlight, std::uint64_t lost);

    /// Nothing at all has been heard for long.
    void onSilence();

    double pacingRate() const; ///< packets per second
    int window() const; ///< packets that may be under way

    State state() const { return m_state; }
    double deliveryRate() const { return m_rate.value(); } ///< packets per second
    TimeUs minRttUs() const { return m_queue.minRttUs(); } ///< 0 before it is known
    TimeUs rttUs() const { return m_queue.rttUs(); } ///< 0 before it is known
    TimeUs queueUs() const { return m_queue.latestUs(); } ///< time in the queue before the line
    double lossRatio() const { return m_lossRatio; } ///< of the last round

private:
    void updateTrain(const DeliverySample &sample);
    void leaveStartup();
    void restart();
    void updateRound(const DeliverySample &sample, TimeUs now, std::uint64_t lost);
    void endRound(const DeliverySample &sample, TimeUs now, std::uint64_t lost);
    void checkGrowth(const DeliverySample &sample);
    void checkQueue();
    void checkDrain(TimeUs now, int inFlight);
    void checkCycle(TimeUs now, int inFlight);
    void checkRttProbe(TimeUs now, int inFlight);
    void checkShare(TimeUs now, int inFlight);
    void enterProbe(TimeUs now, int phase);
    int laterPhase(TimeUs now) const;
    double lineRate() const;
    bool isUnpaced() const;
    double target(double gain) const;
    double startupRate(double rate) const;

    State m_state = State::Startup;
    WindowedMax m_rate; // by rounds
    QueueMeter m_queue;

    PacketTrain m_train;
    double m_trainRate = 0; // at which the first packets arrived
    bool m_isTrainOver = false;

    std::int64_t m_round = 0;
    bool m_isRoundStart = false;
    std::uint64_t m_roundEnd = 0; // in packets delivered
    std::uint64_t m_deliveredAtRound = 0;
    std::uint64_t m_lostAtRound = 0;
    double m_lossRatio = 0;
    double m_roundRate = 0; // best of the round that runs

    int m_overruns = 0; // rounds, one after another, of a queue and many losses

    double m_fullRate = 0;
    int m_roundsWithoutGrowth = 0;
    int m_drainRounds = 0;
    bool m_isSilent = false;

    WindowedMax m_lineRate; // by time: what this connection has had of the line
    int m_queueRounds = 0; // one after another that did not end without a queue
    bool m_hasMadeRoom = false; // since that began, by sending less for a while
    double m_shareWindow = 0; // packets

    double m_rateBeforeUp = 0;
    double m_gain = 0;
    int m_phase = 0;
    TimeUs m_phaseStart = 0;
    TimeUs m_rttProbeEnd = 0; // 0: the window is not reached yet
};

} // namespace VESK
