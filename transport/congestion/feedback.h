#pragma once

#include "transport/congestion/sequence.h"

#include <array>
#include <optional>

namespace VESK
{

/// What a receiver tells the sender every few milliseconds. Travels as a UDT packet of the user's type,
/// which an end without this control ignores.
struct Feedback {
    std::uint32_t received = 0; ///< packets that have arrived, repetitions included; modulo 2^32
    Sequence highest = 0; ///< the highest packet that has arrived
    std::uint32_t clockUs = 0; ///< the receiver's clock at the last arrival; modulo 2^32
    std::uint32_t heldUs = 0; ///< from the arrival of `highest` to this message
    Sequence complete = 0; ///< all packets before this one have arrived
    std::uint32_t reorderUs = 0; ///< how late packets arrive that were not lost but overtaken

    bool knowsSender = false; ///< the sender has said that it has this control, too

    static constexpr std::size_t wordCount = 8;
    using Words = std::array<std::int32_t, wordCount>;

    Words toWords() const;
    /// Nothing when this is no feedback.
    static std::optional<Feedback> fromWords(const std::int32_t *words, std::size_t count);
};

/// What a sender answers to feedback of a receiver that does not know it yet: that loss reports may be
/// repeated, since it knows what to do with them.
constexpr std::int32_t senderGreeting = 0x56434332; // "VCC2"

} // namespace VESK
