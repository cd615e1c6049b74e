#include "transport/congestion/sequence.h"

#include <gtest/gtest.h>

using namespace VESK;

namespace
{

constexpr Sequence highest = 0x7FFFFFFF;

TEST(Sequences, AreAsFarApartAsTheirNumbers)
{
    EXPECT_EQ(sequenceOffset(10, 15), 5);
    EXPECT_EQ(sequenceOffset(15, 10), -5);
    EXPECT_EQ(sequenceOffset(7, 7), 0);
}

TEST(Sequences, AreAsFarApartAcrossTheWrap)
{
    EXPECT_EQ(sequenceOffset(highest, 0), 1);
    EXPECT_EQ(sequenceOffset(0, highest), -1);
    EXPECT_EQ(sequenceOffset(highest - 2, 4), 7);
    EXPECT_EQ(sequenceOffset(4, highest - 2), -7);
}

TEST(Sequences, GoOnAtZeroAfterTheHighest)
{
    EXPECT_EQ(sequenceAfter(highest, 1), 0);
    EXPECT_EQ(sequenceAfter(highest - 1, 5), 3);
    EXPECT_EQ(sequenceAfter(0, -1), highest);
    EXPECT_EQ(sequenceAfter(3, -5), highest - 1);
}

} // namespace
