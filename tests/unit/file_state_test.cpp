#include "tests/support/settled_file.h"
#include "tests/support/temp_dir.h"

#include "vesk_base/file_state.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>

#include <sys/stat.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

TEST(FileState, IsThatOfTheFileThatALinkLeadsTo)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    ASSERT_TRUE(QFile::link(directory.path("file"_s), directory.path("link"_s)));
    setModificationTime(directory.path("file"_s), 1234567890 * oneSecond + 123456789);
    struct stat status;
    ASSERT_EQ(::stat(QFile::encodeName(directory.path("file"_s)).constData(), &status), 0);

    const std::optional<FileState> state = readFileState(directory.path("link"_s));
    ASSERT_TRUE(state);
    EXPECT_EQ(state->device, status.st_dev);
    EXPECT_EQ(state->inode, status.st_ino);
    EXPECT_EQ(state->size, 4);
    EXPECT_EQ(state->mtimeNs, 1234567890 * oneSecond + 123456789);
    EXPECT_EQ(state->ctimeNs, status.st_ctim.tv_sec * oneSecond + status.st_ctim.tv_nsec);
    EXPECT_TRUE(state == readFileState(directory.path("file"_s)));
}

TEST(FileState, IsOnlyKnownOfRegularFiles)
{
    const TempDir directory;
    ASSERT_EQ(::mkfifo(QFile::encodeName(directory.path("fifo"_s)).constData(), 0600), 0);
    for (const QString &path : {directory.path(), directory.path("fifo"_s), directory.path("missing"_s)})
        EXPECT_FALSE(readFileState(path)) << path.toStdString();
}

TEST(FileState, OfAPathWithANulIsUnknown)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    EXPECT_FALSE(readFileState(directory.path("file"_s) + QChar(0) + "name"_s));
}

TEST(FileState, IsUnknownOnceTheFileIsGone)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    const QString path = directory.path("file"_s);
    ASSERT_TRUE(readFileState(path));
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_FALSE(readFileState(path));
}

TEST(FileState, ATimeIsSettledSomeSecondsLater)
{
    EXPECT_FALSE(isSettled(100 * oneSecond, 100 * oneSecond));
    EXPECT_FALSE(isSettled(100 * oneSecond, 102 * oneSecond));
    EXPECT_TRUE(isSettled(100 * oneSecond, 102 * oneSecond + 1));
    EXPECT_FALSE(isSettled(100 * oneSecond, 50 * oneSecond)); // a time in the future
}

} // namespace
