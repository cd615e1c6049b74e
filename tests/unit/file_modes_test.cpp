#include "tests/support/ordinary_user.h"
#include "tests/support/temp_dir.h"

#include "vesk_base/file_modes.h"
#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// The mode's number, or -1 where nothing is.
int modeOf(const QString &path)
{
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return -1;
    return static_cast<int>(status.st_mode & 07777);
}

bool giveMode(const QString &path, int mode)
{
    return ::chmod(QFile::encodeName(path).constData(), static_cast<mode_t>(mode)) == 0;
}

/// A directory that everybody may use, and in it a chain of directories "a/b/c", each with mode 0755.
class Chain : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(giveMode(m_directory.path(), 0777));
        ASSERT_TRUE(m_directory.mkdir("a/b/c"_s));
        for (const QString &level : {"a"_s, "a/b"_s, "a/b/c"_s})
            ASSERT_TRUE(giveMode(path(level), 0755));
    }

    void TearDown() override
    {
        for (const QString &level : {"a"_s, "a/b"_s, "a/b/c"_s})
            (void)giveMode(path(level), 0700); // so that the directory can be removed, whatever the test did
    }

    QString path(const QString &name = QString()) const { return m_directory.path(name); }
    bool giveToNobody(const QString &name) const
    {
        const passwd *const nobody = ::getpwnam("nobody");
        const QByteArray file = QFile::encodeName(path(name));
        return nobody != nullptr && ::chown(file.constData(), nobody->pw_uid, nobody->pw_gid) == 0;
    }
    bool setUpTo(const QString &base, const QString &deepest, int mode) const
    {
        return VeskBase::chmodRecursively(path(base), path(deepest), mode);
    }
    QList<int> modes() const { return {modeOf(path("a"_s)), modeOf(path("a/b"_s)), modeOf(path("a/b/c"_s))}; }

    const TempDir m_directory{};
};

using FileModes = Chain;

TEST_F(FileModes, EveryNumberIsGivenAsItIs)
{
    ASSERT_TRUE(m_directory.write("file"_s, "x"));
    const QString file = path("file"_s);
    for (int mode = 0; mode <= 07777; ++mode) {
        ASSERT_TRUE(VeskBase::chmod(file, mode)) << mode;
        ASSERT_EQ(modeOf(file), mode);
    }
}

TEST_F(FileModes, DecimalSevenHundredSeventySevenIsAnotherMode)
{
    ASSERT_TRUE(VeskBase::chmod(path("a"_s), 777));
    EXPECT_EQ(modeOf(path("a"_s)), 01411);
}

TEST_F(FileModes, NumbersOutOfRangeAreRefused)
{
    for (const int mode : {-1, 010000, 0100644, 100000, INT_MIN, INT_MAX}) {
        EXPECT_FALSE(VeskBase::chmod(path("a"_s), mode)) << mode;
        EXPECT_FALSE(setUpTo("a"_s, "a/b"_s, mode)) << mode;
    }
    EXPECT_EQ(modes(), QList<int>({0755, 0755, 0755}));
}

TEST_F(FileModes, PathsThatLeadNowhereAreRefused)
{
    EXPECT_FALSE(VeskBase::chmod(path("absent"_s), 0700));
    EXPECT_FALSE(VeskBase::chmod(QString(), 0700));
    for (const int mode : {0, 0700})
        EXPECT_FALSE(setUpTo("absent"_s, "absent/b"_s, mode)) << mode;
    EXPECT_FALSE(VeskBase::chmodRecursively("."_s, QString(), 0));
    EXPECT_FALSE(VeskBase::chmodRecursively(QString(), path("a"_s), 0700));
    EXPECT_FALSE(VeskBase::chmodRecursively(path("a"_s), QString(), 0700));
    EXPECT_EQ(modes(), QList<int>({0755, 0755, 0755}));
}

TEST_F(FileModes, PathsWithNulAreNotCutThere)
{
    EXPECT_FALSE(VeskBase::chmod(path("a"_s) + QChar(0) + "b"_s, 0700));
    EXPECT_FALSE(VeskBase::chmodRecursively(path("a"_s), path("a/b"_s) + QChar(0) + "c"_s, 0700));
    EXPECT_EQ(modes(), QList<int>({0755, 0755, 0755}));
}

using FileModesUpTo = Chain;

TEST_F(FileModesUpTo, ChangeEveryLevelIncludingTheBase)
{
    ASSERT_TRUE(setUpTo("a"_s, "a/b/c"_s, 0711));
    EXPECT_EQ(modes(), QList<int>({0711, 0711, 0711}));
    EXPECT_EQ(modeOf(path()), 0777);
}

TEST_F(FileModesUpTo, LeaveWhatIsAboveTheBaseAndBelowThePath)
{
    ASSERT_TRUE(setUpTo("a/b"_s, "a/b"_s, 0711));
    EXPECT_EQ(modes(), QList<int>({0755, 0711, 0755}));
}

TEST_F(FileModesUpTo, TakePathsThatAreWrittenCarelessly)
{
    ASSERT_TRUE(setUpTo("a//b/"_s, "a/b/./c//"_s, 0711));
    EXPECT_EQ(modes(), QList<int>({0755, 0711, 0711}));
}

TEST_F(FileModesUpTo, RefuseAPathBesideTheBase)
{
    ASSERT_TRUE(m_directory.mkdir("ab/c"_s));
    ASSERT_TRUE(giveMode(path("ab"_s), 0755));
    EXPECT_FALSE(setUpTo("a"_s, "ab"_s, 0711));
    EXPECT_FALSE(setUpTo("a"_s, "ab/c"_s, 0711));
    EXPECT_FALSE(setUpTo("a/b"_s, "a"_s, 0711));
    EXPECT_FALSE(setUpTo("a/b"_s, "a/b/../../ab"_s, 0711));
    EXPECT_EQ(modes(), QList<int>({0755, 0755, 0755}));
    EXPECT_EQ(modeOf(path("ab"_s)), 0755);
}

TEST_F(FileModesUpTo, TheDeepestLevelComesFirst)
{
    // The other way round an ordinary user would lock the way to the levels below.
    for (const QString &level : {"a"_s, "a/b"_s, "a/b/c"_s})
        ASSERT_TRUE(::getuid() != 0 || giveToNobody(level));
    EXPECT_TRUE(holdsForOrdinaryUser([&] { return setUpTo("a"_s, "a/b/c"_s, 0); }));
    EXPECT_EQ(modeOf(path("a"_s)), 0);
    EXPECT_TRUE(giveMode(path("a"_s), 0700));
    EXPECT_EQ(modeOf(path("a/b"_s)), 0);
    EXPECT_TRUE(giveMode(path("a/b"_s), 0700));
    EXPECT_EQ(modeOf(path("a/b/c"_s)), 0);
}

TEST_F(FileModesUpTo, ZeroIsAModeLikeAnother)
{
    ASSERT_TRUE(setUpTo("a/b/c"_s, "a/b/c"_s, 0));
    EXPECT_EQ(modes(), QList<int>({0755, 0755, 0}));
}

TEST_F(FileModesUpTo, LevelsOfOtherOwnersPassWhenTheyHaveTheMode)
{
    if (::getuid() != 0)
        GTEST_SKIP() << "only the superuser can make directories of two owners";
    ASSERT_TRUE(giveToNobody("a/b/c"_s));
    ASSERT_TRUE(giveMode(path("a/b/c"_s), 0700));
    EXPECT_TRUE(holdsForOrdinaryUser([&] { return setUpTo("a"_s, "a/b/c"_s, 0755); }));
    EXPECT_EQ(modes(), QList<int>({0755, 0755, 0755}));
}

TEST_F(FileModesUpTo, LevelsOfOtherOwnersFailOtherwise)
{
    if (::getuid() != 0)
        GTEST_SKIP() << "only the superuser can make directories of two owners";
    EXPECT_TRUE(holdsForOrdinaryUser([&] { return !VeskBase::chmod(path("a"_s), 0700); }));
    EXPECT_TRUE(holdsForOrdinaryUser([&] { return !setUpTo("a"_s, "a/b/c"_s, 0711); }));
    EXPECT_EQ(modes(), QList<int>({0755, 0755, 0755}));
}

TEST_F(FileModesUpTo, TheRootOfTheFileSystemIsABaseLikeAnother)
{
    const int mode = modeOf("/"_s);
    if (modeOf("/usr"_s) != mode)
        GTEST_SKIP() << "this test must not change the modes of the system";
    EXPECT_TRUE(VeskBase::chmodRecursively("/"_s, "/usr"_s, mode));
    EXPECT_TRUE(VeskBase::chmodRecursively("/"_s, "/"_s, mode));
}

TEST_F(FileModesUpTo, TheCurrentDirectoryIsABaseLikeAnother)
{
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(path("a"_s)));
    EXPECT_TRUE(VeskBase::chmodRecursively("."_s, "./b"_s, 0711));
    EXPECT_EQ(modes(), QList<int>({0711, 0711, 0755}));
    EXPECT_TRUE(VeskBase::chmodRecursively("./"_s, "."_s, 0700));
    EXPECT_EQ(modes(), QList<int>({0700, 0711, 0755}));
    EXPECT_TRUE(VeskBase::chmodRecursively("b"_s, "b/c"_s, 0701));
    EXPECT_EQ(modes(), QList<int>({0700, 0701, 0701}));
    for (const QString &outside : {".."_s, "../a"_s, path("a"_s)})
        EXPECT_FALSE(VeskBase::chmodRecursively("."_s, outside, 0755)) << testing::PrintToString(outside);
    EXPECT_TRUE(VeskBase::chmodRecursively(".."_s, "../a"_s, 0777));
    EXPECT_EQ(modes(), QList<int>({0777, 0701, 0701}));
    ASSERT_TRUE(QDir::setCurrent(before));
}

TEST_F(FileModesUpTo, ANameThatIsCutByANulIsRefusedThoughTheRestHasTheMode)
{
    EXPECT_FALSE(setUpTo("a"_s, "a/b"_s + QChar(0) + "c"_s, 0755));
    EXPECT_FALSE(setUpTo("a"_s, "a/b"_s + QChar(0) + "c"_s, 0700));
    EXPECT_EQ(modes(), QList<int>({0755, 0755, 0755}));
}

} // namespace
