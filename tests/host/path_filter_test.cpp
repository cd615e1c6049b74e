#include "host/client/path_filter.h"

#include <gtest/gtest.h>

using VESK::Host::PathFilter;

namespace
{

using Action = PathFilter::Action;

class PathFilterTest : public testing::Test
{
public:
    PathFilterTest &exclude(const char *pattern) { return add(Action::Exclude, pattern); }
    PathFilterTest &include(const char *pattern) { return add(Action::Include, pattern); }

    bool takesFile(const char *path) const { return m_filter.takes(QString::fromUtf8(path), false); }
    bool takesDirectory(const char *path) const { return m_filter.takes(QString::fromUtf8(path), true); }

    PathFilterTest &add(Action action, const char *pattern)
    {
        QString error;
        EXPECT_TRUE(m_filter.add(action, QString::fromUtf8(pattern), &error)) << qPrintable(error);
        return *this;
    }

    PathFilter m_filter;
};

TEST_F(PathFilterTest, TakesEverythingWithoutRules)
{
    EXPECT_TRUE(m_filter.isEmpty());
    EXPECT_TRUE(takesFile("a/b"));
    EXPECT_EQ(m_filter.decide(QStringLiteral("a/b"), false).rule, -1);
}

TEST_F(PathFilterTest, MatchesTheLastPartAtAnyDepth)
{
    exclude("*.tmp");
    EXPECT_FALSE(takesFile("a.tmp"));
    EXPECT_FALSE(takesFile("x/y/a.tmp"));
    EXPECT_FALSE(takesFile(".tmp"));
    EXPECT_TRUE(takesFile("a.tmp2"));
    EXPECT_TRUE(takesFile("a.TMP"));
}

TEST_F(PathFilterTest, MatchesAsManyLastPartsAsThePatternHas)
{
    exclude("cache/*.o");
    EXPECT_FALSE(takesFile("cache/a.o"));
    EXPECT_FALSE(takesFile("x/cache/a.o"));
    EXPECT_TRUE(takesFile("cache/x/a.o"));
    EXPECT_TRUE(takesFile("xcache/a.o"));
}

TEST_F(PathFilterTest, MatchesFromTheTopWithALeadingSlash)
{
    exclude("/a");
    EXPECT_FALSE(takesFile("a"));
    EXPECT_TRUE(takesFile("x/a"));
}

TEST_F(PathFilterTest, LeavesOutWhatIsBelowADirectoryThatIsLeftOut)
{
    exclude("tmp/");
    EXPECT_FALSE(takesDirectory("tmp"));
    EXPECT_TRUE(takesFile("tmp"));
    EXPECT_FALSE(takesFile("x/tmp/deep/file"));
    EXPECT_EQ(m_filter.decide(QStringLiteral("x/tmp/deep/file"), false).matched, QStringLiteral("x/tmp"));
    include("file"); // too late
    EXPECT_FALSE(takesFile("x/tmp/deep/file"));
}

TEST_F(PathFilterTest, LetsTheFirstMatchingRuleDecide)
{
    include("keep.tmp").exclude("*.tmp").include("a.tmp");
    EXPECT_TRUE(takesFile("keep.tmp"));
    EXPECT_FALSE(takesFile("a.tmp"));
    EXPECT_EQ(m_filter.decide(QStringLiteral("a.tmp"), false).rule, 1);
    EXPECT_EQ(m_filter.ruleText(1), QStringLiteral("--exclude '*.tmp'"));
}

TEST_F(PathFilterTest, TakesOneKindOnlyWithDirectoriesIncluded)
{
    include("*/").include("*.jpg").exclude("*");
    EXPECT_TRUE(takesFile("a/b/c.jpg"));
    EXPECT_FALSE(takesFile("a/b/c.png"));
    EXPECT_TRUE(takesDirectory("a/b"));
}

TEST_F(PathFilterTest, KeepsStarsWithinAPartUnlessDoubled)
{
    exclude("/a/*/z").exclude("/b/**/z").exclude("/c/**");
    EXPECT_FALSE(takesFile("a/x/z"));
    EXPECT_TRUE(takesFile("a/x/y/z"));
    EXPECT_FALSE(takesFile("b/x/y/z"));
    EXPECT_FALSE(takesFile("b/z"));
    EXPECT_TRUE(takesFile("b/xz"));
    EXPECT_FALSE(takesFile("c/x/y"));
    EXPECT_TRUE(takesDirectory("c"));
}

TEST_F(PathFilterTest, KnowsSetsAndSingleCharacters)
{
    exclude("/[a-c]?").exclude("/[!0-9]x").exclude("/[]]y");
    EXPECT_FALSE(takesFile("bq"));
    EXPECT_TRUE(takesFile("b"));
    EXPECT_FALSE(takesFile("zx"));
    EXPECT_TRUE(takesFile("5x"));
    EXPECT_FALSE(takesFile("]y"));
}

TEST_F(PathFilterTest, TakesEscapedAndSpecialCharactersAsTheyAre)
{
    exclude("/\\*").exclude("/a.b").exclude("/(x)+").exclude(u8"/\u00fc?");
    EXPECT_FALSE(takesFile("*"));
    EXPECT_TRUE(takesFile("x"));
    EXPECT_TRUE(takesFile("aXb"));
    EXPECT_FALSE(takesFile("(x)+"));
    EXPECT_FALSE(takesFile("\u00fc\n"));
}

TEST_F(PathFilterTest, RefusesWhatIsNoPattern)
{
    QString error;
    for (const char *pattern : {"", "/", "[a", "x/[", "[z-a]"}) {
        error.clear();
        EXPECT_FALSE(m_filter.add(Action::Exclude, QString::fromUtf8(pattern), &error)) << pattern;
        EXPECT_NE(error, QString()) << pattern;
    }
    EXPECT_TRUE(m_filter.isEmpty());
}

} // namespace
