#include "transport/congestion/missing_packets.h"

#include <algorithm>

namespace VESK
{

namespace
{

// No window of UDT's is larger than this: a number further ahead is no packet of this connection.
constexpr int maxJump = 1 << 20;

// A line that loses every other packet makes this many gaps in a window of 32,768 packets.
constexpr std::size_t maxGaps = 16384;

} // namespace

MissingPackets::MissingPackets(Sequence next)
    : m_next(next)
{
}

MissingPackets::Arrival MissingPackets::arrived(Sequence sequence, TimeUs now)
{
    const int ahead = sequenceOffset(m_next, sequence);
    if (ahead < 0)
        return fill(sequence, now) ? Arrival::Late : Arrival::Duplicate;
    if (ahead > maxJump || (ahead > 0 && m_gaps.size() >= maxGaps))
        return Arrival::Impossible;
    if (ahead > 0) {
        Gap gap;
        gap.first = m_next;
        gap.last = sequenceAfter(sequence, -1);
        gap.since = now;
        m_gaps.push_back(gap);
        m_count += ahead;
    }
    m_next = sequenceAfter(sequence, 1);
    return ahead > 0 ? Arrival::Beyond : Arrival::Next;
}

bool MissingPackets::fill(Sequence sequence, TimeUs now)
{
    const auto gap =
        std::lower_bound(m_gaps.begin(), m_gaps.end(), sequence, [](const Gap &entry, Sequence wanted) {
            return sequenceOffset(entry.last, wanted) > 0;
        });
    if (gap == m_gaps.end() || sequenceOffset(gap->first, sequence) < 0)
        return false;
    m_lateness = now - gap->since;
    --m_count;
    if (gap->first == gap->last) {
        m_gaps.erase(gap);
        return true;
    }
    if (gap->first == sequence) {
        gap->first = sequenceAfter(sequence, 1);
        return true;
    }
    Gap before = *gap;
    before.last = sequenceAfter(sequence, -1);
    if (gap->last == sequence) {
        gap->last = before.last;
        return true;
    }
    gap->first = sequenceAfter(sequence, 1);
    m_gaps.insert(gap, before);
    return true;
}

std::vector<std::int32_t> MissingPackets::report(std::size_t maxWords)
{
    std::vector<std::int32_t> words;
    auto gap = m_gaps.begin();
    if (m_isReportCut) {
        gap = std::find_if(gap, m_gaps.end(),
                           [this](const Gap &entry) { return sequenceOffset(m_reported, entry.first) >= 0; });
        if (gap == m_gaps.end())
            gap = m_gaps.begin();
    }
    m_isReportCut = false;
    for (; gap != m_gaps.end(); ++gap) {
        if (words.size() + 2 > maxWords) {
            m_isReportCut = true;
            m_reported = gap->first;
            break;
        }
        LossReport::append(*gap, &words);
    }
    return words;
}

} // namespace VESK
