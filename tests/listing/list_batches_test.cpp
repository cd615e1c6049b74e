#include "tests/listing/support/list_server.h"

#include <algorithm>

using namespace VESK;
using namespace VESK::Test;

namespace
{

struct BatchCase {
    int entries;
    QList<int> keys; // of each message, the mark included
    QStringList marks; // the value of bLast in each message, "-" for none
};

void PrintTo(const BatchCase &batches, std::ostream *out)
{
    *out << batches.entries << " entries";
}

class ListBatches : public ListServerTest, public testing::WithParamInterface<BatchCase>
{
};

TEST_P(ListBatches, HaveTheSizesAndMarksOfTheProtocol)
{
    const BatchCase &expected = GetParam();
    writeFiles("d", expected.entries);
    QList<int> keys;
    QStringList marks;
    ParamMap names;
    for (const ParamMap &batch : batchesOf("d")) {
        keys += batch.size();
        marks += batch.value("bLast", "-");
        for (auto entry = batch.cbegin(); entry != batch.cend(); ++entry)
            names.insert(entry.key(), entry.value());
    }
    EXPECT_EQ(keys, expected.keys);
    EXPECT_EQ(marks, expected.marks);
    names.remove("bLast");
    EXPECT_EQ(names.size(), expected.entries);
    for (int i = 0; i < expected.entries; ++i)
        EXPECT_EQ(names.value("/file" + QString::number(i)), "file");
    EXPECT_EQ(logged(), QStringList{"info|listRespond: " + storedPath("d") + " ..."});
}

INSTANTIATE_TEST_SUITE_P(Sizes, ListBatches,
                         testing::Values(BatchCase{0, {1}, {"true"}}, BatchCase{1, {2}, {"true"}},
                                         BatchCase{99, {100}, {"true"}},
                                         BatchCase{100, {101, 1}, {"false", "true"}},
                                         BatchCase{101, {101, 2}, {"false", "true"}},
                                         BatchCase{200, {101, 101}, {"false", "true"}},
                                         BatchCase{201, {101, 101, 1}, {"false", "-", "true"}},
                                         BatchCase{202, {101, 101, 2}, {"false", "-", "true"}},
                                         BatchCase{302, {101, 101, 101, 1}, {"false", "-", "-", "true"}}));

int depth(const QString &name)
{
    return name.count('/');
}

TEST_F(ListServerTest, GoesThroughTheTreeBreadthFirst)
{
    writeFiles("d", 120);
    for (const char *name : {"d/a", "d/b", "d/a/c", "d/b/e", "d/b/e/f"})
        writeFiles(name, 90);
    int deepestSoFar = 0;
    int names = 0;
    for (ParamMap batch : batchesOf("d")) {
        batch.remove("bLast");
        names += batch.size();
        if (batch.isEmpty())
            continue;
        const QStringList keys = batch.keys();
        const auto [first, last] = std::minmax_element(
            keys.begin(), keys.end(), [](const QString &a, const QString &b) { return depth(a) < depth(b); });
        EXPECT_GE(depth(*first), deepestSoFar) << first->toStdString();
        deepestSoFar = depth(*last);
    }
    EXPECT_EQ(names, 120 + 5 * 90 + 5);
    EXPECT_EQ(deepestSoFar, 4);
}

} // namespace
