#include "transport/congestion/feedback.h"

#include <gtest/gtest.h>

using namespace VESK;

namespace
{

Feedback sample()
{
    Feedback feedback;
    feedback.received = 0xFFFFFFF0;
    feedback.highest = 0x7FFFFFFF;
    feedback.clockUs = 0x80000001;
    feedback.heldUs = 17;
    feedback.complete = 12;
    feedback.reorderUs = 2000;
    feedback.knowsSender = true;
    return feedback;
}

TEST(AFeedback, ComesBackFromItsWords)
{
    const Feedback::Words words = sample().toWords();
    const auto feedback = Feedback::fromWords(words.data(), words.size());
    ASSERT_TRUE(feedback);
    EXPECT_EQ(feedback->received, 0xFFFFFFF0);
    EXPECT_EQ(feedback->highest, 0x7FFFFFFF);
    EXPECT_EQ(feedback->clockUs, 0x80000001);
    EXPECT_EQ(feedback->heldUs, 17U);
    EXPECT_EQ(feedback->complete, 12);
    EXPECT_EQ(feedback->reorderUs, 2000U);
    EXPECT_TRUE(feedback->knowsSender);
}

TEST(AFeedback, MayGrowInLaterVersions)
{
    const Feedback::Words words = sample().toWords();
    std::array<std::int32_t, Feedback::wordCount + 2> longer{};
    std::copy(words.begin(), words.end(), longer.begin());
    EXPECT_TRUE(Feedback::fromWords(longer.data(), longer.size()));
}

TEST(AFeedback, IsNoneWhenWordsAreMissing)
{
    const Feedback::Words words = sample().toWords();
    for (std::size_t count = 0; count < words.size(); ++count)
        EXPECT_FALSE(Feedback::fromWords(words.data(), count)) << count;
}

TEST(AFeedback, IsNoneWithAnotherBeginning)
{
    Feedback::Words words = sample().toWords();
    words[0] ^= 1;
    EXPECT_FALSE(Feedback::fromWords(words.data(), words.size()));
}

TEST(AFeedback, IsNoneWithNumbersThatNoPacketBears)
{
    for (const std::size_t place : {2U, 5U}) {
        Feedback::Words words = sample().toWords();
        words[place] = -1;
        EXPECT_FALSE(Feedback::fromWords(words.data(), words.size())) << place;
    }
}

} // namespace
