#pragma once

#include "transport/congestion/sequence.h"

#include <cstddef>
#include <vector>

namespace VESK
{

/// A loss report as it travels: packet numbers in order, a single one in a word, a range in two, the first
/// of them with its highest bit set.
class LossReport
{
public:
    static constexpr std::uint32_t rangeFlag = 0x80000000;

    /// Reports of this control have at least so many words. The library's own have one or two.
    static constexpr std::size_t minWords = 3;

    /// Over the `count` words of a report that has arrived.
    LossReport(std::int32_t *words, std::size_t count);

    /// What it says about the packets from `first` up to, not including, `next`. Nonsense is
    /// left out, and so is what has been said before it or comes before that.
    std::vector<SequenceRange> rangesWithin(Sequence first, Sequence next) const;

    /// Asks for a packet to be kept in the report; in order, repetitions count once.
    void keep(Sequence sequence);

    /// Writes what is kept over the words, as much as they take, and fills the rest with `passedOver`.
    void writeKept(Sequence passedOver);

    static void append(const SequenceRange &range, std::vector<std::int32_t> *words);

private:
    std::int32_t *const m_words;
    const std::size_t m_count;
    std::vector<SequenceRange> m_kept;
};

} // namespace VESK
