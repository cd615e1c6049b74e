#include "transport/congestion/loss_report.h"

#include <algorithm>

namespace VESK
{

LossReport::LossReport(std::int32_t *words, std::size_t count)
    : m_words(words)
    , m_count(count)
{
}

std::vector<SequenceRange> LossReport::rangesWithin(Sequence first, Sequence next) const
{
    std::vector<SequenceRange> ranges;
    for (std::size_t i = 0; i < m_count; ++i) {
        SequenceRange range{static_cast<Sequence>(static_cast<std::uint32_t>(m_words[i]) & sequenceMask),
                            m_words[i]};
        if ((static_cast<std::uint32_t>(m_words[i]) & rangeFlag) != 0) {
            if (++i == m_count || m_words[i] < 0)
                break;
            range.last = m_words[i];
        }
        if (sequenceOffset(first, range.first) < 0)
            range.first = first;
        if (sequenceOffset(range.last, next) <= 0)
            range.last = sequenceAfter(next, -1);
        if (sequenceOffset(range.first, range.last) >= 0)
            ranges.push_back(range);
    }
    return ranges;
}

void LossReport::keep(Sequence sequence)
{
    if (m_kept.empty() || sequenceOffset(m_kept.back().last, sequence) > 1)
        m_kept.push_back({sequence, sequence});
    else if (sequenceOffset(m_kept.back().last, sequence) == 1)
        m_kept.back().last = sequence;
}

void LossReport::writeKept(Sequence passedOver)
{
    std::vector<std::int32_t> words;
    for (const SequenceRange &range : m_kept)
        if (words.size() + 2 <= m_count || (range.first == range.last && words.size() < m_count))
            append(range, &words);
    words.resize(m_count, passedOver);
    std::copy(words.begin(), words.end(), m_words);
}

void LossReport::append(const SequenceRange &range, std::vector<std::int32_t> *words)
{
    if (range.first != range.last)
        words->push_back(static_cast<std::int32_t>(static_cast<std::uint32_t>(range.first) | rangeFlag));
    words->push_back(range.last);
}

} // namespace VESK
