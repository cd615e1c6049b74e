#include "transport/congestion/sequence.h"

#include "tests/transport/sequences.h"

#include <gtest/gtest.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

TEST(Sequences, AreAsFarApartAsTheirNumbers)
{
    EXPECT_EQ(sequenceOffset(10, 15), 5);
    EXPECT_EQ(sequenceOffset(15, 10), -5);
    EXPECT_EQ(sequenceOffset(7, 7), 0);
}

TEST(Sequences, AreAsFarApartAcrossTheWrap)
{
    EXPECT_EQ(sequenceOffset(highestSequence, 0), 1);
    EXPECT_EQ(sequenceOffset(0, highestSequence), -1);
    EXPECT_EQ(sequenceOffset(highestSequence - 2, 4), 7);
    EXPECT_EQ(sequenceOffset(4, highestSequence - 2), -7);
}

TEST(Sequences, GoOnAtZeroAfterTheHighest)
{
    EXPECT_EQ(sequenceAfter(highestSequence, 1), 0);
    EXPECT_EQ(sequenceAfter(highestSequence - 1, 5), 3);
    EXPECT_EQ(sequenceAfter(0, -1), highestSequence);
    EXPECT_EQ(sequenceAfter(3, -5), highestSequence - 1);
}

} // namespace
