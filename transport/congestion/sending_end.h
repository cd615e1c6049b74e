#pragma once

#include "transport/congestion/delivery_sampler.h"
#include "transport/congestion/loss_report.h"
#include "transport/congestion/rate_model.h"

namespace VESK
{

/// The sender's half of the congestion control: remembers what was sent, judges what is lost, feeds the
/// model, and gives the pace. Knows no socket and no clock. For one thread at a time.
class SendingEnd
{
public:
    /// `first` is the first packet that is going to be sent.
    explicit SendingEnd(Sequence first = 0);

    /// A data packet leaves.
    void onSent(Sequence sequence, TimeUs now);

    /// The library's acknowledgement: all packets before `next` have arrived. Where the peer sends no
    /// feedback the model lives on it.
    void onAck(Sequence next, TimeUs now);

    /// False when the message is none of ours, or cannot be true; nothing is changed then.
    bool onFeedback(const std::int32_t *words, std::size_t count, TimeUs now);

    /// Does the peer wait to be greeted (feedback.h)?
    bool isGreetingDue() const { return m_isGreetingDue; }

    /// A loss report has come: changes its words so that only what is worth sending again is left. What
    /// is taken out is replaced by numbers that the library passes over. A peer that reports everything all
    /// the time is listened to as much as an honest one may need, so that it keeps no thread busy.
    void onLossReport(std::int32_t *words, std::size_t count, TimeUs now);

    /// Nothing has been heard for long, and all is being sent again.
    void onSilence();

    double sendPeriodUs() const; ///< between two packets
    double congestionWindow() const; ///< packets, as UDT counts: from the first unacknowledged one

    const RateModel &model() const { return m_model; }
    int inFlight() const;
    std::uint64_t lost() const { return m_lost; }
    bool hasFeedback() const { return m_hasFeedback; }

private:
    bool takeSample(const Feedback &feedback, TimeUs now);
    void keepWhatIsLost(LossReport *report, TimeUs now);
    bool isWorthRepeating(Sequence sequence);
    TimeUs reorderWindow() const;
    bool isShortBurst() const;

    DeliverySampler m_sampler;
    RateModel m_model;
    bool m_hasFeedback = false;
    bool m_isGreetingDue = false;
    TimeUs m_lastSent = 0;
    int m_burst = 0; // new packets since nothing was under way
    bool m_isWindowFull = false; // when the last packet left
    TimeUs m_reorder = 0;
    int m_repeatsInFlight = 0;
    std::uint64_t m_lost = 0;
    double m_patience = 0; // packets of reports that may still be looked at
    TimeUs m_lastReport = 0;
    Sequence m_complete;
    TimeUs m_lastProgress = 0; // of the library's acknowledgements
};

} // namespace VESK
