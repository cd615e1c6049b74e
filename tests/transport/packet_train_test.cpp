#include "transport/congestion/packet_train.h"

#include <gtest/gtest.h>

using namespace VESK;

namespace
{

TEST(APacketTrain, ArrivesAtTheRateOfItsPackets)
{
    PacketTrain train;
    for (int i = 0; i < 8; ++i)
        train.add(static_cast<std::uint64_t>(1 + 8 * i), 5000 + 800 * i);
    EXPECT_DOUBLE_EQ(train.rate(), 10000);
}

TEST(APacketTrain, IsNotMadeSlowerByAPauseInIt)
{
    PacketTrain train;
    train.add(1, 5000);
    for (int i = 0; i < 7; ++i)
        train.add(static_cast<std::uint64_t>(9 + 8 * i), 15000 + 800 * i);
    EXPECT_DOUBLE_EQ(train.rate(), 10000);
}

TEST(APacketTrain, IsFoundAfterSingleMessages)
{
    PacketTrain train;
    for (int i = 0; i < 20; ++i)
        train.add(static_cast<std::uint64_t>(1 + i), 100000 * i);
    EXPECT_DOUBLE_EQ(train.rate(), 0);
    for (int i = 0; i < 8; ++i)
        train.add(static_cast<std::uint64_t>(29 + 8 * i), 3000000 + 800 * i);
    EXPECT_DOUBLE_EQ(train.rate(), 10000);
}

TEST(APacketTrain, HasNoRateWhereTheClockStandsStill)
{
    PacketTrain train;
    train.add(1, 5000);
    train.add(60, 5000);
    EXPECT_DOUBLE_EQ(train.rate(), 0);
}

} // namespace
