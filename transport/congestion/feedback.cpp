#include "transport/congestion/feedback.h"

namespace VESK
{

namespace
{

constexpr std::int32_t magic = 0x56434331; // "VCC1"

bool isSequence(std::int32_t word)
{
    return word >= 0;
}

} // namespace

Feedback::Words Feedback::toWords() const
{
    return {magic,
            static_cast<std::int32_t>(received),
            highest,
            static_cast<std::int32_t>(clockUs),
            static_cast<std::int32_t>(heldUs),
            complete,
            static_cast<std::int32_t>(reorderUs),
            knowsSender ? 1 : 0};
}

std::optional<Feedback> Feedback::fromWords(const std::int32_t *words, std::size_t count)
{
    if (count < wordCount || words[0] != magic || !isSequence(words[2]) || !isSequence(words[5]))
        return std::nullopt;
    Feedback feedback;
    feedback.received = static_cast<std::uint32_t>(words[1]);
    feedback.highest = words[2];
    feedback.clockUs = static_cast<std::uint32_t>(words[3]);
    feedback.heldUs = static_cast<std::uint32_t>(words[4]);
    feedback.complete = words[5];
    feedback.reorderUs = static_cast<std::uint32_t>(words[6]);
    feedback.knowsSender = (words[7] & 1) != 0;
    return feedback;
}

} // namespace VESK
