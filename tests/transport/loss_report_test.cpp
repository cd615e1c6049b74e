#include "transport/congestion/loss_report.h"

#include <gmock/gmock.h>

#include <utility>

using namespace VESK;
using testing::ElementsAre;

namespace
{

constexpr Sequence highest = 0x7FFFFFFF;

std::int32_t from(Sequence sequence)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(sequence) | LossReport::rangeFlag);
}

std::vector<std::pair<int, int>> rangesOf(std::vector<std::int32_t> words, Sequence first, Sequence next)
{
    std::vector<std::pair<int, int>> ranges;
    for (const SequenceRange &range : LossReport(words.data(), words.size()).rangesWithin(first, next))
        ranges.emplace_back(range.first, range.last);
    return ranges;
}

using Pair = std::pair<int, int>;

TEST(ALossReport, HasSinglePacketsAndRanges)
{
    EXPECT_THAT(rangesOf({5, from(8), 11, 20}, 0, 100), ElementsAre(Pair(5, 5), Pair(8, 11), Pair(20, 20)));
}

TEST(ALossReport, IsCutToThePacketsInQuestion)
{
    EXPECT_THAT(rangesOf({5, from(8), 11, 20, from(30), 50}, 10, 40),
                ElementsAre(Pair(10, 11), Pair(20, 20), Pair(30, 39)));
}

TEST(ALossReport, ReachesAcrossTheWrap)
{
    EXPECT_THAT(rangesOf({from(highest - 1), 2}, highest - 10, 10), ElementsAre(Pair(highest - 1, 2)));
}

TEST(ALossReport, SaysNothingByARangeThatRunsBackwards)
{
    EXPECT_TRUE(rangesOf({from(11), 8}, 0, 100).empty());
}

TEST(ALossReport, SaysNothingOfPacketsFarAway)
{
    // From each of these to the next it is less than half of all numbers.
    EXPECT_TRUE(rangesOf({from(0x38000000), 0x70000000}, 0, 100).empty());
    EXPECT_TRUE(rangesOf({from(0x3FFFFFFF), highest, 0x40000000, 0x60000000}, 0, 100).empty());
    EXPECT_THAT(rangesOf({from(0x60000000), 0x20000000}, 0, 100), ElementsAre(Pair(0, 99)));
}

TEST(ALossReport, SaysEachPacketOnce)
{
    EXPECT_THAT(rangesOf({from(10), 20, from(0), 30, 25, from(15), 40}, 0, 100),
                ElementsAre(Pair(10, 20), Pair(21, 30), Pair(31, 40)));
}

TEST(ALossReport, EndsWhereARangeIsCutOff)
{
    EXPECT_THAT(rangesOf({5, from(8)}, 0, 100), ElementsAre(Pair(5, 5)));
    EXPECT_TRUE(rangesOf({from(8), from(9), 10}, 0, 100).empty());
}

TEST(ALossReport, KeepsWhatIsAskedForAndFillsTheRest)
{
    std::vector<std::int32_t> words{1, 2, 3, 4, 5, 6};
    LossReport report(words.data(), words.size());
    for (const Sequence sequence : {3, 4, 5, 9})
        report.keep(sequence);
    report.writeKept(77);
    EXPECT_THAT(words, ElementsAre(from(3), 5, 9, 77, 77, 77));
}

TEST(ALossReport, KeepsRangesAcrossTheWrap)
{
    std::vector<std::int32_t> words(3);
    LossReport report(words.data(), words.size());
    for (const Sequence sequence : {highest, 0, 1})
        report.keep(sequence);
    report.writeKept(7);
    EXPECT_THAT(words, ElementsAre(from(highest), 1, 7));
}

TEST(ALossReport, NeverWritesMoreWordsThanItHas)
{
    std::vector<std::int32_t> words(4, -1);
    LossReport report(words.data(), 3);
    for (const Sequence sequence : {1, 3, 4, 6, 8, 10})
        report.keep(sequence);
    report.writeKept(0);
    EXPECT_THAT(words, ElementsAre(1, from(3), 4, -1));
}

} // namespace
