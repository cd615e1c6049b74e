#pragma once

#include "transport/congestion/loss_report.h"

#include <cstddef>
#include <vector>

namespace VESK
{

/// Which packets a receiver has not got. For one thread.
class MissingPackets
{
public:
    enum class Arrival {
        Next, ///< the one that was expected
        Beyond, ///< packets before it are missing now
        Late, ///< it was missing
        Duplicate, ///< it was here already
        Impossible, ///< too far ahead to be honest; not counted
    };

    /// `next` is the first packet that is going to be sent.
    explicit MissingPackets(Sequence next = 0);

    Arrival arrived(Sequence sequence, TimeUs now);

    /// How long the last `Late` packet was known to be missing.
    TimeUs lateness() const { return m_lateness; }

    bool isEmpty() const { return m_gaps.empty(); }
    /// Number of missing packets.
    int count() const { return m_count; }
    /// The packet after the highest one that has arrived.
    Sequence next() const { return m_next; }
    /// All packets before this one are here.
    Sequence complete() const { return m_gaps.empty() ? m_next : m_gaps.front().first; }

    /// The missing packets as UDT writes a loss report, in order: a single number, or two for a range, the
    /// first of them with its highest bit set. At most `maxWords` words; what does not fit comes first the
    /// next time.
    std::vector<std::int32_t> report(std::size_t maxWords);

private:
    struct Gap : SequenceRange {
        TimeUs since = 0;
    };
    bool fill(Sequence sequence, TimeUs now);

    Sequence m_next;
    std::vector<Gap> m_gaps; // in order, none touches the next
    int m_count = 0;
    TimeUs m_lateness = 0;
    Sequence m_reported = 0; // where the next report goes on
    bool m_isReportCut = false;
};

} // namespace VESK
