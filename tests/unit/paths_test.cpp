#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"
#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

using namespace VESK;
using namespace VESK::Test;

namespace
{

struct Join {
    QString a;
    QString b;
    QString joined;
};

class JoinPath : public testing::TestWithParam<Join>
{
};

TEST_P(JoinPath, GivesOneSeparatorAtTheSeamAndNoneAtTheEnd)
{
    const Join &join = GetParam();
    EXPECT_EQ(joinPath(join.a, join.b), join.joined);
    EXPECT_EQ(VeskBase::pathJoin(join.a, join.b), join.joined);
}

INSTANTIATE_TEST_SUITE_P(Seam, JoinPath,
                         testing::Values(Join{"a"_s, "b"_s, "a/b"_s}, Join{"a/"_s, "b"_s, "a/b"_s},
                                         Join{"a"_s, "/b"_s, "a/b"_s}, Join{"a///"_s, "///b"_s, "a/b"_s},
                                         Join{"/a"_s, "b"_s, "/a/b"_s}, Join{"/"_s, "b"_s, "/b"_s},
                                         Join{"/"_s, "/"_s, "/"_s}, Join{"/"_s, "/b/"_s, "/b"_s}));

INSTANTIATE_TEST_SUITE_P(EmptyPiece, JoinPath,
                         testing::Values(Join{""_s, ""_s, ""_s}, Join{"a"_s, ""_s, "a"_s},
                                         Join{""_s, "b"_s, "b"_s}, Join{""_s, "/b"_s, "/b"_s},
                                         Join{"a/"_s, ""_s, "a"_s}, Join{"/"_s, ""_s, "/"_s},
                                         Join{""_s, "/"_s, "/"_s}));

INSTANTIATE_TEST_SUITE_P(Inside, JoinPath,
                         testing::Values(Join{"a//b"_s, "c//d//"_s, "a/b/c/d"_s},
                                         Join{"."_s, ".."_s, "./.."_s}, Join{"a/.."_s, "./b"_s, "a/.././b"_s},
                                         Join{"a b"_s, "ü/😀"_s, "a b/ü/😀"_s}, Join{"%1"_s, "%2"_s, "%1/%2"_s},
                                         Join{"/a"_s, ".."_s, "/a/.."_s}));

QString fileName(const QString &path)
{
    return path.section(QLatin1Char('/'), -1);
}

QString repeated(const char *character, int times)
{
    return QString::fromUtf8(character).repeated(times);
}

TEST(TemporaryPath, LiesHiddenInTheSameDirectory)
{
    const QString path = temporaryPath("/some/dir/name.bin"_s);
    EXPECT_TRUE(path.startsWith("/some/dir/.name.bin."_s)) << testing::PrintToString(path);
    EXPECT_TRUE(path.endsWith(".vsktmp"_s));
    EXPECT_EQ(path.count(QLatin1Char('/')), 3);
    EXPECT_TRUE(temporaryPath("name.bin"_s).startsWith(".name.bin."_s));
    EXPECT_TRUE(temporaryPath("/name.bin"_s).startsWith("/.name.bin."_s));
}

TEST(TemporaryPath, IsTheSameOnEveryMachineAndDay)
{
    const TempDir directory;
    const QString path = directory.path("a"_s);
    const QString before = temporaryPath(path);
    ASSERT_TRUE(directory.write("a"_s, "now it exists"));
    EXPECT_EQ(temporaryPath(path), before);
    EXPECT_EQ(VeskBase().generateTmpFilePath(path), before);
    EXPECT_EQ(temporaryPath(path + "/"_s), before);
    // Partial files lie on disks for weeks: the rule must not change under them.
    EXPECT_EQ(temporaryPath("/d/name.bin"_s), "/d/.name.bin.2eeacfc6164fa3a6.vsktmp"_s);
}

TEST(TemporaryPath, OfADirectoryIsThatOfItsName)
{
    EXPECT_EQ(temporaryPath("a/"_s), temporaryPath("a"_s));
    EXPECT_EQ(temporaryPath("/d/a//"_s), temporaryPath("/d/a"_s));
    EXPECT_TRUE(temporaryPath("/"_s).startsWith("/.."_s)); // the root's name is empty
    EXPECT_TRUE(isTemporaryName(temporaryPath("/"_s).mid(1)));
}

struct Head {
    QString name;
    QString head;
};

class TemporaryPathOfALongName : public testing::TestWithParam<Head>
{
};

TEST_P(TemporaryPathOfALongName, KeepsTheCharactersThatFitIntoNinetySixBytes)
{
    const QString path = temporaryPath("/d/"_s + GetParam().name);
    EXPECT_TRUE(path.startsWith("/d/."_s + GetParam().head + "."_s)) << testing::PrintToString(path);
}

INSTANTIATE_TEST_SUITE_P(Names, TemporaryPathOfALongName,
                         testing::Values(Head{repeated("x", 96), repeated("x", 96)},
                                         Head{repeated("x", 97), repeated("x", 96)},
                                         Head{repeated("é", 49), repeated("é", 48)},
                                         Head{"x"_s + repeated("é", 48), "x"_s + repeated("é", 47)},
                                         Head{repeated("語", 33), repeated("語", 32)},
                                         Head{"xx"_s + repeated("語", 32), "xx"_s + repeated("語", 31)},
                                         Head{repeated("😀", 25), repeated("😀", 24)},
                                         Head{"x"_s + repeated("😀", 24), "x"_s + repeated("😀", 23)}));

TEST(TemporaryPath, DiffersForNamesWithOneHead)
{
    const QString head(200, QLatin1Char('x'));
    EXPECT_NE(temporaryPath("/d/"_s + head + "1"_s), temporaryPath("/d/"_s + head + "2"_s));
    EXPECT_NE(temporaryPath("/d/a"_s), temporaryPath("/d/A"_s));
}

class TemporaryNameOf : public testing::TestWithParam<QString>
{
};

TEST_P(TemporaryNameOf, FitsAndIsRecognised)
{
    const TempDir directory;
    const QString path = temporaryPath(directory.path(GetParam()));
    const QString name = fileName(path);
    EXPECT_LE(QFile::encodeName(name).size(), 255);
    EXPECT_TRUE(name.startsWith(QLatin1Char('.')));
    EXPECT_TRUE(isTemporaryName(name));
    EXPECT_TRUE(name.isValidUtf16());
    EXPECT_FALSE(isTemporaryName(GetParam()));
    ASSERT_TRUE(directory.write(name, "x")); // the file system takes it
    EXPECT_EQ(directory.entries(), QStringList(name));
    EXPECT_TRUE(
        QDir(directory.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty()); // hidden
}

INSTANTIATE_TEST_SUITE_P(Names, TemporaryNameOf,
                         testing::Values("a"_s, ".hidden"_s, "..."_s, "a.vsktmp"_s, "with space"_s, "%1"_s,
                                         "line\nfeed"_s, repeated("x", 255), repeated("é", 127) + "x"_s,
                                         repeated("語", 85), repeated("😀", 63) + "abc"_s,
                                         "a"_s + repeated("😀", 63) + "ab"_s,
                                         "ab"_s + repeated("語", 84) + "c"_s));

TEST(TemporaryName, OfAnythingElseIsNotRecognised)
{
    EXPECT_TRUE(isTemporaryName(".a.0123456789abcdef.vsktmp"_s));
    for (const QString &name :
         {""_s, "."_s, ".."_s, "a.0123456789abcdef.vsktmp"_s, ".a.0123456789abcde.vsktmp"_s,
          ".a.0123456789abcdeg.vsktmp"_s, ".a.0123456789ABCDEF.vsktmp"_s, ".a0123456789abcdef.vsktmp"_s,
          ".a.0123456789abcdef.vsktmp2"_s, ".a.0123456789abcdef.vsktmq"_s, ".a.0123456789abcde-.vsktmp"_s,
          ".a.0123456789abcdef"_s, ".vsktmp"_s, ".0123456789abcdef.vsktmp"_s})
        EXPECT_FALSE(isTemporaryName(name)) << testing::PrintToString(name);
}

TEST(TemporaryPath, IsRecognisedByItsLastName)
{
    const QString name = ".a.0123456789abcdef.vsktmp"_s;
    for (const QString &path : {name, "/"_s + name, "b/"_s + name, temporaryPath("/b/c"_s)})
        EXPECT_TRUE(isTemporaryPath(path)) << path.toStdString();
    for (const QString &path : {""_s, "/"_s, name + "/"_s, name + "/b"_s, "b"_s + name, "/b/c"_s})
        EXPECT_FALSE(isTemporaryPath(path)) << path.toStdString();
}

TEST(PathExists, IsTrueForFilesDirectoriesAndLinksToThem)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, ""));
    ASSERT_TRUE(QFile::link(directory.path("file"_s), directory.path("link"_s)));
    ASSERT_TRUE(QFile::link(directory.path("nowhere"_s), directory.path("dangling"_s)));
    EXPECT_TRUE(VeskBase::exist(directory.path()));
    EXPECT_TRUE(VeskBase::exist(directory.path("file"_s)));
    EXPECT_TRUE(VeskBase::exist(directory.path("link"_s)));
    EXPECT_FALSE(VeskBase::exist(directory.path("dangling"_s)));
    EXPECT_FALSE(VeskBase::exist(directory.path("absent"_s)));
    EXPECT_FALSE(VeskBase::exist(QString()));
    EXPECT_FALSE(VeskBase::exist(directory.path("file"_s) + QChar(0)));
}

TEST(MakeDirectoryPath, CreatesAllLevelsAndIsContentWithWhatIsThere)
{
    const TempDir directory;
    EXPECT_TRUE(VeskBase::mkdir(directory.path("a/b/c"_s)));
    EXPECT_TRUE(VeskBase::mkdir(directory.path("a/b/c/"_s)));
    EXPECT_EQ(directory.entries(), QStringList({"a/"_s, "a/b/"_s, "a/b/c/"_s}));
    ASSERT_TRUE(QFile::link(directory.path("a"_s), directory.path("link"_s)));
    EXPECT_TRUE(VeskBase::mkdir(directory.path("link"_s)));
    EXPECT_TRUE(VeskBase::mkdir(directory.path("link/d"_s)));
    EXPECT_TRUE(directory.exists("a/d"_s));
}

TEST(MakeDirectoryPath, RefusesWhatIsNoDirectory)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "content"));
    ASSERT_TRUE(QFile::link(directory.path("nowhere"_s), directory.path("dangling"_s)));
    const QStringList before = directory.entries();
    EXPECT_FALSE(VeskBase::mkdir(directory.path("file"_s)));
    EXPECT_FALSE(VeskBase::mkdir(directory.path("file/below"_s)));
    EXPECT_FALSE(VeskBase::mkdir(directory.path("dangling"_s)));
    EXPECT_FALSE(VeskBase::mkdir(QString()));
    EXPECT_FALSE(VeskBase::mkdir(directory.path("cut"_s) + QChar(0) + "off"_s));
    EXPECT_EQ(directory.entries(), before);
    EXPECT_EQ(directory.read("file"_s), QByteArray("content"));
}

} // namespace
