#include "tests/operation/support/operation_test.h"

#include "tests/support/ordinary_user.h"

#include "vesk_2_0_0/handler/app_path.h"
#include "vesk_2_0_0/handler/file_times.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

using namespace VESK;
using namespace VESK::Test;

namespace
{

class FileTimes : public ClientTest
{
protected:
    FileTimes()
        : ClientTest("upload")
    {
        EXPECT_TRUE(dir.write("file", "text"));
        setTimes("file", {1000000000, 123456789}, {1100000000, 987654321});
    }

    QByteArray native(const QString &name) const { return QFile::encodeName(dir.path(name)); }

    void setTimes(const QString &name, timespec access, timespec modification) const
    {
        const timespec times[2] = {access, modification};
        EXPECT_EQ(::utimensat(AT_FDCWD, native(name).constData(), times, 0), 0);
    }

    struct stat statusOf(const QString &name) const
    {
        struct stat status = {};
        EXPECT_EQ(::stat(native(name).constData(), &status), 0);
        return status;
    }
};

TEST_F(FileTimes, SetsTheModificationTimeAndSaysSo)
{
    handler().UpdateMtime(dir.path("file"), "someOperation", 1234567890);
    EXPECT_EQ(statusOf("file").st_mtim.tv_sec, 1234567890);
    EXPECT_EQ(statusOf("file").st_mtim.tv_nsec, 0);
    EXPECT_EQ(
        logged(),
        QStringList{"debug|someOperation: set [" + dir.path("file") + "] mtime [1234567890] finished!"});
}

TEST_F(FileTimes, KeepsTheAccessTimeToTheNanosecond)
{
    handler().UpdateMtime(dir.path("file"), "someOperation", 1234567890);
    EXPECT_EQ(statusOf("file").st_atim.tv_sec, 1000000000);
    EXPECT_EQ(statusOf("file").st_atim.tv_nsec, 123456789);
}

TEST_F(FileTimes, AnUnknownTimeChangesNothing)
{
    for (const qint64 unknown : {0, -1}) {
        handler().UpdateMtime(dir.path("file"), "someOperation", unknown);
        handler().UpdateMtime(dir.path("missing"), "someOperation", unknown);
    }
    EXPECT_EQ(statusOf("file").st_mtim.tv_sec, 1100000000);
    EXPECT_EQ(statusOf("file").st_mtim.tv_nsec, 987654321);
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(FileTimes, SetsTimesFarFromNow)
{
    for (const qint64 time : {qint64(-2), qint64(1), qint64(4294967295), qint64(4294967296)}) {
        handler().UpdateMtime(dir.path("file"), "someOperation", time);
        EXPECT_EQ(statusOf("file").st_mtim.tv_sec, time);
    }
}

TEST_F(FileTimes, ReportsAMissingFile)
{
    handler().UpdateMtime(dir.path("no %3 file"), "someOperation", 5);
    EXPECT_EQ(logged(),
              QStringList{"error|someOperation: get stat of  " + dir.path("no %3 file") + " failed."});
    EXPECT_FALSE(dir.exists("no %3 file"));
}

TEST_F(FileTimes, APathWithANulIsNotCutThere)
{
    const QString path = dir.path("file") + QChar(0) + "name";
    handler().UpdateMtime(path, "someOperation", 5);
    EXPECT_EQ(logged(), QStringList{"error|someOperation: get stat of  " + path + " failed."});
    EXPECT_EQ(statusOf("file").st_mtim.tv_sec, 1100000000);
}

TEST_F(FileTimes, ReportsATimeThatMayNotBeSet)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can own the file of somebody else";
    ASSERT_TRUE(VeskBase::chmod(dir.path(), 0755));
    const Background attempt([&] {
        becomeOrdinaryUser();
        handler().UpdateMtime(dir.path("file"), "someOperation", 5);
    });
    ASSERT_TRUE(attempt.wait(patience));
    EXPECT_EQ(logged(),
              QStringList{"error|someOperation: set new mtime of " + dir.path("file") + " failed."});
    EXPECT_EQ(statusOf("file").st_mtim.tv_sec, 1100000000);
}

TEST_F(FileTimes, LeavesAFileAloneThatHasTheTime)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can own the file of somebody else";
    ASSERT_TRUE(VeskBase::chmod(dir.path(), 0755));
    setTimes("file", {1000000000, 0}, {1100000000, 0});
    ASSERT_TRUE(dir.write("part", "text"));
    setTimes("part", {1000000000, 0}, {1100000000, 1});
    const Background attempt([&] {
        becomeOrdinaryUser(); // who may not set it
        handler().UpdateMtime(dir.path("file"), "someOperation", 1100000000);
        handler().UpdateMtime(dir.path("part"), "someOperation", 1100000000);
    });
    ASSERT_TRUE(attempt.wait(patience));
    EXPECT_EQ(logged(),
              QStringList({"debug|someOperation: set [" + dir.path("file") + "] mtime [1100000000] finished!",
                           "error|someOperation: set new mtime of " + dir.path("part") + " failed."}));
}

TEST_F(FileTimes, SetsTheTimeOfTheFileThatALinkLeadsTo)
{
    ASSERT_TRUE(QFile::link(dir.path("file"), dir.path("link")));
    handler().UpdateMtime(dir.path("link"), "someOperation", 1234567890);
    EXPECT_EQ(statusOf("file").st_mtim.tv_sec, 1234567890);
}

TEST_F(FileTimes, ReadsWholeSeconds)
{
    EXPECT_EQ(modificationTime(QFileInfo(dir.path("file"))), 1100000000);
}

TEST_F(FileTimes, ATimeBefore1970AndThatOfAMissingFileAreTheLargestNumber)
{
    setTimes("file", {1, 0}, {-5, 0});
    EXPECT_EQ(modificationTime(QFileInfo(dir.path("file"))), 4294967295);
    EXPECT_EQ(modificationTime(QFileInfo(dir.path("missing"))), 4294967295);
}

TEST_F(FileTimes, ReadsTheStatusOfTheFileThatALinkLeadsTo)
{
    ASSERT_TRUE(QFile::link(dir.path("file"), dir.path("link")));
    ASSERT_TRUE(QFile::link(dir.path("nowhere"), dir.path("dangling")));
    EXPECT_EQ(statusForSending(dir.path("link")).size, 4);
    EXPECT_EQ(statusForSending(dir.path("link")).mtime, 1100000000);
    EXPECT_EQ(statusForSending(dir.path("dangling")).size, 0);
    EXPECT_EQ(statusForSending(dir.path("dangling")).mtime, 0);
}

TEST_F(FileTimes, ATimeBefore1970ThatALinkLeadsToIsReadAsItIs)
{
    setTimes("file", {1, 0}, {-5, 0});
    ASSERT_TRUE(QFile::link(dir.path("file"), dir.path("link")));
    EXPECT_EQ(statusForSending(dir.path("link")).mtime, -5);
    EXPECT_EQ(statusForSending(dir.path("file")).mtime, 4294967295);
}

TEST_F(FileTimes, TheEndOfATaskIsRecordedInMilliseconds)
{
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    handler().transfer();
    EXPECT_GE(param("endTime").toLongLong(), before);
    EXPECT_LE(param("endTime").toLongLong(), QDateTime::currentMSecsSinceEpoch());
}

TEST(AppPath, IsLookedUpInTheTable)
{
    struct Case {
        const char *table;
        const char *app;
        const char *path;
    };
    const Case cases[] = {
        {"a:/x%b:/y", "a", "/x"},
        {"a:/x%b:/y", "b", "/y"},
        {"a:/x%b:/y", "c", ""},
        {"a:/x%b:/y", "", ""},
        {"a:/x%b:/y", "A", ""},
        {"", "a", ""},
        {"%%a:/x%%", "a", "/x"},
        {"c:C:/z%a:/x", "c", ""}, // three parts
        {"c:C:/z%a:/x", "a", "/x"},
        {"a%b:/y", "a", ""}, // one part
        {"a:", "a", ""},
        {":/x", "", ""},
        {"::a::/x::", "a", "/x"}, // empty parts do not count
        {"a:/x%a:/y", "a", "/y"}, // the last one counts
        {"a:/x%a:1:2", "a", "/x"},
        {" a :/x y", " a ", "/x y"},
    };
    for (const Case &entry : cases)
        EXPECT_EQ(findAppPath(entry.table, entry.app), entry.path) << entry.table << " at " << entry.app;
}

TEST(AppPath, IsReadFromTheParameter)
{
    VeskHandler2_0_0 handler;
    EXPECT_EQ(handler.getAppPath("a"), "");
    ASSERT_TRUE(handler.setParam("appPath", "a:/x%b:/y"));
    EXPECT_EQ(handler.getAppPath("b"), "/y");
}

} // namespace
