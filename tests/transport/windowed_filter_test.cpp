#include "transport/congestion/windowed_filter.h"

#include <gtest/gtest.h>

using namespace VESK;

namespace
{

TEST(WindowedMaximum, IsTheLargestValueOfItsWindow)
{
    WindowedMax largest(10);
    EXPECT_EQ(largest.value(), 0);
    largest.add(5, 1);
    largest.add(9, 2);
    largest.add(3, 3);
    EXPECT_EQ(largest.value(), 9);
    largest.add(4, 12);
    EXPECT_EQ(largest.value(), 9);
}

TEST(WindowedMaximum, FallsToWhatFollowedWhenTheLargestIsTooOld)
{
    WindowedMax largest(10);
    largest.add(9, 0);
    for (int time = 1; time <= 10; ++time)
        largest.add(5, time);
    largest.add(5, 11);
    EXPECT_EQ(largest.value(), 5);
}

TEST(WindowedMaximum, FallsToTheThirdBestWhenTheTwoBeforeAreTooOld)
{
    WindowedMax largest(10);
    largest.add(9, 0);
    largest.add(8, 3);
    largest.add(7, 9);
    largest.add(2, 18);
    EXPECT_EQ(largest.value(), 7);
}

TEST(WindowedMaximum, ForgetsAllAfterALongPause)
{
    WindowedMax largest(10);
    largest.add(9, 0);
    largest.add(8, 1);
    largest.add(2, 100);
    EXPECT_EQ(largest.value(), 2);
}

} // namespace
