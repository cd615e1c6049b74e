#pragma once

#include <cstdint>

namespace VESK
{

/// Number of a data packet: 31 bits, 0 follows 2^31 - 1.
using Sequence = std::int32_t;

/// Time in microseconds on some clock that never goes back.
using TimeUs = std::int64_t;

constexpr std::uint32_t sequenceMask = 0x7FFFFFFF;

/// How far `to` lies behind `from`, negative when it lies before. Right as long as they are less than
/// 2^30 apart.
constexpr int sequenceOffset(Sequence from, Sequence to)
{
    const std::uint32_t distance =
        (static_cast<std::uint32_t>(to) - static_cast<std::uint32_t>(from)) & sequenceMask;
    return distance < (1U << 30) ? static_cast<int>(distance)
                                 : -static_cast<int>((sequenceMask - distance) + 1);
}

/// The number `count` packets after `sequence`; before it, when `count` is negative.
constexpr Sequence sequenceAfter(Sequence sequence, int count)
{
    return static_cast<Sequence>((static_cast<std::uint32_t>(sequence) + static_cast<std::uint32_t>(count))
                                 & sequenceMask);
}

/// Packets `first` to `last`, both included.
struct SequenceRange {
    Sequence first = 0;
    Sequence last = 0;
};

} // namespace VESK
