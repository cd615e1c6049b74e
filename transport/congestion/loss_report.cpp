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
    // All are compared with `first`: of numbers far apart, each can lie before the next, and so round.
    const int end = sequenceOffset(first, next);
    int told = 0; // so many of them, so that a report cannot make more work than they are
    std::vector<SequenceRange> ranges;
    for (std::size_t i = 0; i < m_count; ++i) {
        const auto from = static_cast<Sequence>(static_cast<std::uint32_t>(m_words[i]) & sequenceMask);
        Sequence to = from;
        if ((static_cast<std::uint32_t>(m_words[i]) & rangeFlag) != 0) {
            if (++i == m_count || m_words[i] < 0)
                break;
            to = m_words[i];
        }
        const int begin = std::max(sequenceOffset(first, from), told);
        const int last = std::min(sequenceOffset(first, to), end - 1);
        if (begin > last)
            continue;
        ranges.push_back({sequenceAfter(first, begin), sequenceAfter(first, last)});
        told = last + 1;
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
