#include "host/server/loop_check.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QFile>

#include <gmock/gmock.h>

using namespace VESK::Host;
using namespace VESK::Test;

namespace
{

class LoopCheckTest : public testing::Test
{
protected:
    void link(const QString &target, const QString &name)
    {
        ASSERT_TRUE(QFile::link(target, m_directory.path(name)));
    }

    QStringList loops() const
    {
        QStringList found = findLoopingLinks(m_directory.path(), [] { return true; });
        found.replaceInStrings(m_directory.path() + QLatin1Char('/'), QString());
        found.sort();
        return found;
    }

    TempDir m_directory;
};

TEST_F(LoopCheckTest, FindsNothingInAPlainTree)
{
    ASSERT_TRUE(m_directory.write("a/b/c"_s, "x"));
    ASSERT_TRUE(m_directory.mkdir("a/d"_s));
    link("d"_s, "a/link"_s); // another directory, not above
    link("b/c"_s, "a/file"_s);
    link("absent"_s, "a/nowhere"_s);
    link("itself"_s, "a/itself"_s);
    EXPECT_EQ(loops(), QStringList());
}

TEST_F(LoopCheckTest, FindsLinksToDirectoriesAbove)
{
    ASSERT_TRUE(m_directory.mkdir("a/b"_s));
    link("."_s, "self"_s);
    link(".."_s, "a/b/up"_s);
    link(m_directory.path(), "a/top"_s);
    EXPECT_EQ(loops(), (QStringList{"a/b/up"_s, "a/top"_s, "self"_s}));
}

TEST_F(LoopCheckTest, FindsACircleOfTwo)
{
    ASSERT_TRUE(m_directory.mkdir("a"_s));
    ASSERT_TRUE(m_directory.mkdir("b"_s));
    link("../b"_s, "a/toB"_s);
    link("../a"_s, "b/toA"_s);
    const QStringList found = loops();
    ASSERT_EQ(found.size(), 1);
    EXPECT_TRUE(found.front() == "a/toB/toA"_s || found.front() == "b/toA/toB"_s)
        << qPrintable(found.front());
}

TEST_F(LoopCheckTest, ReadsEachDirectoryOnce)
{
    // 40 levels with two ways each to the next would be 2^40 walks.
    QString path = "0"_s;
    ASSERT_TRUE(m_directory.mkdir(path));
    for (int level = 1; level < 40; ++level) {
        link(QString::number(level), path + "/again"_s);
        path += QLatin1Char('/') + QString::number(level);
        ASSERT_TRUE(m_directory.mkdir(path));
    }
    EXPECT_EQ(loops(), QStringList());
}

TEST_F(LoopCheckTest, EndsWhenItIsToldTo)
{
    ASSERT_TRUE(m_directory.mkdir("a"_s));
    link("."_s, "self"_s);
    EXPECT_EQ(findLoopingLinks(m_directory.path(), [] { return false; }), QStringList());
}

} // namespace
