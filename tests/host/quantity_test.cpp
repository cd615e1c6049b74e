#include "host/quantity.h"
#include "host/task_wishes.h"

#include <gtest/gtest.h>

using namespace VESK::Host;

namespace
{

TEST(QuantityTest, ReadsBytesWithUnits)
{
    EXPECT_EQ(parseBytes(QStringLiteral("1")), 1);
    EXPECT_EQ(parseBytes(QStringLiteral("500k")), 512000);
    EXPECT_EQ(parseBytes(QStringLiteral("500K")), 512000);
    EXPECT_EQ(parseBytes(QStringLiteral("1.5M")), 1572864);
    EXPECT_EQ(parseBytes(QStringLiteral("2G")), qint64(2) << 30);
    EXPECT_EQ(parseBytes(QStringLiteral("3t")), qint64(3) << 40);
}

TEST(QuantityTest, RefusesEverythingElse)
{
    for (const char *text : {"", "k", "0", "-1", "+1", "1e3", "1kk", "1 k", " 1", "1b", "inf", "nan", "0x10",
                             "1.", ".5", "0.0001k", "99999999T"})
        EXPECT_FALSE(parseBytes(QString::fromUtf8(text))) << text;
}

TEST(TaskWishesTest, ComeBackAsTheyWereTold)
{
    TaskWishes wishes;
    EXPECT_EQ(wishes.appendTo(QStringLiteral("1.0")), QStringLiteral("1.0"));
    wishes.keepsExisting = true;
    wishes.rateLimit = 1234567890123;
    const TaskWishes read = TaskWishes::parse(wishes.appendTo(QStringLiteral("1.0")));
    EXPECT_TRUE(read.keepsExisting);
    EXPECT_EQ(read.rateLimit, 1234567890123);
}

TEST(TaskWishesTest, AreNoneWhereNothingIsKnown)
{
    for (const char *text : {"", "1.0", "existing=keep", "1.0;", "1.0;rate=-5", "1.0;rate=x;other=1"}) {
        const TaskWishes wishes = TaskWishes::parse(QString::fromUtf8(text));
        EXPECT_FALSE(wishes.keepsExisting) << text;
        EXPECT_EQ(wishes.rateLimit, 0) << text;
    }
}

} // namespace
