#pragma once

#include "transport/congestion/loss_report.h"

namespace VESK::Test
{

constexpr Sequence highestSequence = 0x7FFFFFFF; // before 0

/// The word of a loss report that begins a range; the next word ends it.
inline std::int32_t rangeFrom(Sequence sequence)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(sequence) | LossReport::rangeFlag);
}

} // namespace VESK::Test
