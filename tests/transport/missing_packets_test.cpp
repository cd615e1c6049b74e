#include "transport/congestion/missing_packets.h"

#include "tests/transport/sequences.h"

#include <gmock/gmock.h>

using namespace VESK;
using namespace VESK::Test;
using testing::ElementsAre;
using Arrival = MissingPackets::Arrival;

namespace
{

TEST(MissingPacketSet, IsEmptyWhileAllComeInOrder)
{
    MissingPackets missing(100);
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(missing.arrived(100 + i, i), Arrival::Next);
    EXPECT_TRUE(missing.isEmpty());
    EXPECT_EQ(missing.next(), 150);
    EXPECT_EQ(missing.complete(), 150);
}

TEST(MissingPacketSet, HasWhatIsLeftOutAndLosesWhatComesLater)
{
    MissingPackets missing(0);
    EXPECT_EQ(missing.arrived(5, 1000), Arrival::Beyond);
    EXPECT_EQ(missing.count(), 5);
    EXPECT_EQ(missing.complete(), 0);
    EXPECT_EQ(missing.arrived(2, 1700), Arrival::Late);
    EXPECT_EQ(missing.lateness(), 700);
    EXPECT_THAT(missing.report(10), ElementsAre(rangeFrom(0), 1, rangeFrom(3), 4));
    for (const Sequence sequence : {0, 1, 3})
        EXPECT_EQ(missing.arrived(sequence, 2000), Arrival::Late);
    EXPECT_EQ(missing.complete(), 4);
    EXPECT_EQ(missing.arrived(4, 2000), Arrival::Late);
    EXPECT_TRUE(missing.isEmpty());
    EXPECT_EQ(missing.complete(), 6);
    EXPECT_EQ(missing.count(), 0);
}

TEST(MissingPacketSet, KnowsWhatCameTwice)
{
    MissingPackets missing(0);
    (void)missing.arrived(0, 0);
    (void)missing.arrived(4, 0);
    EXPECT_EQ(missing.arrived(0, 1), Arrival::Duplicate);
    EXPECT_EQ(missing.arrived(4, 1), Arrival::Duplicate);
    EXPECT_EQ(missing.arrived(2, 1), Arrival::Late);
    EXPECT_EQ(missing.arrived(2, 1), Arrival::Duplicate);
    EXPECT_EQ(missing.count(), 2);
}

TEST(MissingPacketSet, GoesOnAcrossTheWrap)
{
    MissingPackets missing(highestSequence - 2);
    EXPECT_EQ(missing.arrived(3, 0), Arrival::Beyond);
    EXPECT_THAT(missing.report(10), ElementsAre(rangeFrom(highestSequence - 2), 2));
    EXPECT_EQ(missing.arrived(highestSequence, 0), Arrival::Late);
    EXPECT_THAT(missing.report(10),
                ElementsAre(rangeFrom(highestSequence - 2), highestSequence - 1, rangeFrom(0), 2));
    EXPECT_EQ(missing.arrived(0, 0), Arrival::Late);
    EXPECT_THAT(missing.report(10),
                ElementsAre(rangeFrom(highestSequence - 2), highestSequence - 1, rangeFrom(1), 2));
    EXPECT_EQ(missing.next(), 4);
}

TEST(MissingPacketSet, DoesNotBelieveInPacketsFarAhead)
{
    MissingPackets missing(0);
    EXPECT_EQ(missing.arrived(1 << 25, 0), Arrival::Impossible);
    EXPECT_EQ(missing.next(), 0);
    EXPECT_TRUE(missing.isEmpty());
}

TEST(MissingPacketSet, TakesBoundedMemoryFromASenderOfEveryOtherPacket)
{
    MissingPackets missing(0);
    Arrival last = Arrival::Beyond;
    Sequence sequence = 1;
    for (; last == Arrival::Beyond && sequence < 1000000; sequence += 2)
        last = missing.arrived(sequence, 0);
    EXPECT_EQ(last, Arrival::Impossible);
    EXPECT_LT(missing.count(), 40000);
}

TEST(MissingPacketSet, ReportsInTurnsWhatDoesNotFit)
{
    MissingPackets missing(0);
    for (Sequence sequence = 1; sequence < 14; sequence += 2)
        (void)missing.arrived(sequence, 0); // 0, 2, ... 12 are missing
    EXPECT_THAT(missing.report(4), ElementsAre(0, 2, 4));
    EXPECT_THAT(missing.report(4), ElementsAre(6, 8, 10));
    EXPECT_THAT(missing.report(4), ElementsAre(12));
    EXPECT_THAT(missing.report(4), ElementsAre(0, 2, 4));
}

TEST(MissingPacketSet, ReportsTheRestWhenWhatWasReportedHasCome)
{
    MissingPackets missing(0);
    for (Sequence sequence = 1; sequence < 10; sequence += 2)
        (void)missing.arrived(sequence, 0);
    (void)missing.report(3); // goes on at 4
    for (const Sequence sequence : {4, 6, 8})
        (void)missing.arrived(sequence, 0);
    EXPECT_THAT(missing.report(10), ElementsAre(0, 2));
}

} // namespace
