#include "transport/congestion/loss_report.h"

#include "tests/transport/sequences.h"

#include <gmock/gmock.h>

#include <utility>

using namespace VESK;
using namespace VESK::Test;
using testing::ElementsAre;

namespace
{

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
    EXPECT_THAT(rangesOf({5, rangeFrom(8), 11, 20}, 0, 100),
                ElementsAre(Pair(5, 5), Pair(8, 11), Pair(20, 20)));
}

TEST(ALossReport, IsCutToThePacketsInQuestion)
{
    EXPECT_THAT(rangesOf({5, rangeFrom(8), 11, 20, rangeFrom(30), 50}, 10, 40),
                ElementsAre(Pair(10, 11), Pair(20, 20), Pair(30, 39)));
}

TEST(ALossReport, ReachesAcrossTheWrap)
{
    EXPECT_THAT(rangesOf({rangeFrom(highestSequence - 1), 2}, highestSequence - 10, 10),
                ElementsAre(Pair(highestSequence - 1, 2)));
}

TEST(ALossReport, SaysNothingByARangeThatRunsBackwards)
{
    EXPECT_TRUE(rangesOf({rangeFrom(11), 8}, 0, 100).empty());
}

TEST(ALossReport, SaysNothingOfPacketsFarAway)
{
    // From each of these to the next it is less than half of all numbers.
    EXPECT_TRUE(rangesOf({rangeFrom(0x38000000), 0x70000000}, 0, 100).empty());
    EXPECT_TRUE(rangesOf({rangeFrom(0x3FFFFFFF), highestSequence, 0x40000000, 0x60000000}, 0, 100).empty());
    EXPECT_THAT(rangesOf({rangeFrom(0x60000000), 0x20000000}, 0, 100), ElementsAre(Pair(0, 99)));
}

TEST(ALossReport, SaysEachPacketOnce)
{
    EXPECT_THAT(rangesOf({rangeFrom(10), 20, rangeFrom(0), 30, 25, rangeFrom(15), 40}, 0, 100),
                ElementsAre(Pair(10, 20), Pair(21, 30), Pair(31, 40)));
}

TEST(ALossReport, EndsWhereARangeIsCutOff)
{
    EXPECT_THAT(rangesOf({5, rangeFrom(8)}, 0, 100), ElementsAre(Pair(5, 5)));
    EXPECT_TRUE(rangesOf({rangeFrom(8), rangeFrom(9), 10}, 0, 100).empty());
}

TEST(ALossReport, KeepsWhatIsAskedForAndFillsTheRest)
{
    std::vector<std::int32_t> words{1, 2, 3, 4, 5, 6};
    LossReport report(words.data(), words.size());
    for (const Sequence sequence : {3, 4, 5, 9})
        report.keep(sequence);
    report.writeKept(77);
    EXPECT_THAT(words, ElementsAre(rangeFrom(3), 5, 9, 77, 77, 77));
}

TEST(ALossReport, KeepsRangesAcrossTheWrap)
{
    std::vector<std::int32_t> words(3);
    LossReport report(words.data(), words.size());
    for (const Sequence sequence : {highestSequence, 0, 1})
        report.keep(sequence);
    report.writeKept(7);
    EXPECT_THAT(words, ElementsAre(rangeFrom(highestSequence), 1, 7));
}

TEST(ALossReport, NeverWritesMoreWordsThanItHas)
{
    std::vector<std::int32_t> words(4, -1);
    LossReport report(words.data(), 3);
    for (const Sequence sequence : {1, 3, 4, 6, 8, 10})
        report.keep(sequence);
    report.writeKept(0);
    EXPECT_THAT(words, ElementsAre(1, rangeFrom(3), 4, -1));
}

} // namespace
