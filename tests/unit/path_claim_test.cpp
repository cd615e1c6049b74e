#include "tests/support/temp_dir.h"
#include "tests/unit/running_task.h"

#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr int limitMs = 20000; // for another process

/// Another process that tries to claim a path and keeps it.
class OtherProcess
{
public:
    explicit OtherProcess(const QString &path)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(VESK_CLAIM_HOLDER), {path});
        while (!m_process.canReadLine() && m_process.waitForReadyRead(limitMs)) { }
        m_answer = QString::fromLatin1(m_process.readLine().trimmed());
    }

    ~OtherProcess()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished(limitMs);
    }

    OtherProcess(const OtherProcess &) = delete;
    OtherProcess &operator=(const OtherProcess &) = delete;

    QString answer() const { return m_answer; }

    bool endsWhenKilled()
    {
        m_process.kill();
        return m_process.waitForFinished(limitMs) && m_process.exitStatus() == QProcess::CrashExit;
    }

private:
    QProcess m_process;
    QString m_answer;
};

class PathClaimTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_first.begin();
        m_second.begin();
    }

    QString path(const QString &name) const { return m_directory.path(name); }

    const TempDir m_directory;
    RunningTask m_first;
    RunningTask m_second;
};

TEST_F(PathClaimTest, IsHeldByOneTaskAtATime)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    EXPECT_FALSE(m_second.claim(path("a"_s)));
    EXPECT_EQ(m_second.claimed(), QString());
    EXPECT_TRUE(m_second.claim(path("b"_s)));
    EXPECT_EQ(m_first.claimed(), path("a"_s));
}

TEST_F(PathClaimTest, MayBeRepeatedByItsHolder)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    EXPECT_TRUE(m_first.claim(path("a"_s)));
    EXPECT_FALSE(m_second.claim(path("a"_s)));
}

TEST_F(PathClaimTest, CoversWholeMaps)
{
    ASSERT_TRUE(m_first.setParams({{"tmpFilePath"_s, path("a"_s)}}));
    EXPECT_FALSE(m_second.setParams({{"tmpFilePath"_s, path("a"_s)}, {"fileName"_s, "x"_s}}));
    ParamMap all;
    ASSERT_TRUE(m_second.getParams(all));
    EXPECT_TRUE(all.isEmpty());
}

TEST_F(PathClaimTest, EndsWithTheTask)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    m_first.end();
    EXPECT_EQ(m_first.claimed(), path("a"_s)); // a paused task whose handler lives blocks nobody
    EXPECT_TRUE(m_second.claim(path("a"_s)));
}

TEST_F(PathClaimTest, EndsWithTheHandler)
{
    {
        RunningTask third;
        third.begin();
        ASSERT_TRUE(third.claim(path("a"_s)));
        third.end();
    }
    EXPECT_TRUE(m_first.claim(path("a"_s)));
}

TEST_F(PathClaimTest, MovesToAnotherPath)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    ASSERT_TRUE(m_first.claim(path("b"_s)));
    EXPECT_TRUE(m_second.claim(path("a"_s)));
    EXPECT_FALSE(m_second.claim(path("b"_s)));
    EXPECT_FALSE(m_first.claim(path("a"_s)));
    EXPECT_FALSE(m_second.claim(path("b"_s))); // a refusal took nothing away
    EXPECT_EQ(m_first.claimed(), path("b"_s));
}

TEST_F(PathClaimTest, IsGivenUpByTheEmptyPath)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    ASSERT_TRUE(m_first.claim(QString()));
    EXPECT_TRUE(m_second.claim(path("a"_s)));
    EXPECT_TRUE(m_first.claim(QString()));
    EXPECT_FALSE(m_first.claim(path("a"_s))); // what was given up once is the other's now
    m_second.end();
    EXPECT_TRUE(m_first.claim(path("a"_s)));
}

TEST_F(PathClaimTest, MayLieWhereNoDirectoryIsYet)
{
    const QString far = "/"_s + path("far"_s).section(QLatin1Char('/'), -2, -2); // nobody else's name
    ASSERT_TRUE(m_first.claim(far + "/file"_s));
    EXPECT_FALSE(m_second.claim(far + "/./file"_s));
    EXPECT_TRUE(m_second.claim(far + "/other"_s));
}

TEST_F(PathClaimTest, ConcernsRunningTasksOnly)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    m_second.end();
    EXPECT_TRUE(m_second.claim(path("a"_s))); // an ordinary key
    VeskBase host;
    EXPECT_TRUE(host.setParam("tmpFilePath"_s, path("a"_s)));
    EXPECT_TRUE(host.setParams({{"tmpFilePath"_s, path("a"_s)}}));
    m_second.begin();
    EXPECT_FALSE(m_second.claim(path("a"_s)));
}

TEST_F(PathClaimTest, IsNoMatterOfOtherParameters)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    ASSERT_TRUE(m_first.setParam("destPath"_s, path("b"_s)));
    ASSERT_TRUE(m_first.setParams({{"srcPath"_s, path("b"_s)}}));
    EXPECT_FALSE(m_second.claim(path("a"_s)));
    EXPECT_TRUE(m_second.claim(path("b"_s)));
}

TEST_F(PathClaimTest, LeavesNoTraceInTheDirectory)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    EXPECT_EQ(m_directory.entries(), QStringList());
}

TEST_F(PathClaimTest, IsWonByOneOfManyThreads)
{
    for (int round = 0; round < 20; ++round) {
        const QString contested = path("contested%1"_s.arg(round));
        RunningTask tasks[8];
        std::atomic<int> winners{0};
        std::vector<std::thread> threads;
        for (RunningTask &task : tasks) {
            task.begin();
            threads.emplace_back([&] { winners += task.claim(contested) ? 1 : 0; });
        }
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(winners, 1);
        for (RunningTask &task : tasks)
            task.end();
    }
}

class SamePlace : public PathClaimTest, public testing::WithParamInterface<const char *>
{
};

TEST_P(SamePlace, IsOnePathWhateverTheText)
{
    ASSERT_TRUE(m_directory.mkdir("dir/sub"_s));
    ASSERT_TRUE(m_directory.mkdir("other/deep"_s));
    ASSERT_TRUE(QFile::link(path("dir"_s), path("link"_s)));
    ASSERT_TRUE(QFile::link("../dir"_s, path("other/relative"_s)));
    ASSERT_TRUE(QFile::link(path("dir/sub"_s), path("other/deep/down"_s)));
    const QString text = path(QString::fromLatin1(GetParam()));
    const QString plain = path("dir/file"_s);
    // By whichever text it is claimed first, and whether the file is there by then or not.
    ASSERT_TRUE(m_first.claim(text));
    EXPECT_FALSE(m_second.claim(plain));
    ASSERT_TRUE(m_directory.write("dir/file"_s, "x"));
    EXPECT_FALSE(m_second.claim(plain));
    m_first.end();
    ASSERT_TRUE(m_second.claim(plain));
    m_first.begin();
    EXPECT_FALSE(m_first.claim(text));
}

INSTANTIATE_TEST_SUITE_P(Texts, SamePlace,
                         testing::Values("dir/file", "dir//file", "./dir/./file", "dir/sub/../file",
                                         "link/file", "other/relative/file", "other/../dir/file",
                                         "other/relative/sub/../file",
                                         // ".." behind a link leads up from where the link leads to
                                         "other/deep/down/../file", "link/sub/../file", "link/../dir/file"));

TEST_F(PathClaimTest, KnowsRelativePaths)
{
    const QString absolute = path("a"_s);
    ASSERT_TRUE(m_first.claim(QDir::current().relativeFilePath(absolute)));
    EXPECT_FALSE(m_second.claim(absolute));
}

TEST_F(PathClaimTest, KeepsPlacesApartThatReadAlike)
{
    ASSERT_TRUE(m_directory.mkdir("dir/sub"_s));
    ASSERT_TRUE(m_directory.mkdir("other"_s));
    ASSERT_TRUE(QFile::link(path("dir/sub"_s), path("other/down"_s)));
    ASSERT_TRUE(m_first.claim(path("other/down/../file"_s))); // this is dir/file
    EXPECT_TRUE(m_second.claim(path("other/file"_s)));
    ASSERT_TRUE(m_first.claim(path("dir/File"_s)));
    EXPECT_TRUE(m_second.claim(path("dir/file"_s)));
}

TEST_F(PathClaimTest, FollowsALinkInTheFilesOwnPlace)
{
    ASSERT_TRUE(m_directory.write("file"_s, "x"));
    ASSERT_TRUE(QFile::link(path("file"_s), path("link"_s)));
    ASSERT_TRUE(m_first.claim(path("link"_s)));
    EXPECT_FALSE(m_second.claim(path("file"_s)));
}

TEST_F(PathClaimTest, HoldsForDirectoriesThatAreCreatedLater)
{
    ASSERT_TRUE(m_directory.mkdir("dir"_s));
    ASSERT_TRUE(QFile::link(path("dir"_s), path("link"_s)));
    ASSERT_TRUE(m_first.claim(path("link/new/deep/file"_s)));
    EXPECT_FALSE(m_second.claim(path("dir/new/deep/file"_s)));
    ASSERT_TRUE(m_directory.write("dir/new/deep/file"_s, "x"));
    EXPECT_FALSE(m_second.claim(path("dir/new/deep/file"_s)));
    EXPECT_FALSE(m_second.claim(path("dir/new/deep/../deep/file"_s)));
}

TEST_F(PathClaimTest, OfAPathThatNoSystemTakesIsQuick)
{
    // As long as a client may make it with its four paths.
    const QString tooLong = path("d"_s) + "/d"_s.repeated(65536);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(m_first.claim(tooLong + "/file"_s));
    EXPECT_FALSE(m_second.claim(tooLong + "/./file"_s));
    EXPECT_TRUE(m_second.claim(tooLong + "/other"_s));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST_F(PathClaimTest, HoldsInAProgramWithoutAStandardInput)
{
    const int input = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    EXPECT_TRUE(m_first.claim(path("a"_s)));
    EXPECT_NE(::fcntl(STDIN_FILENO, F_GETFD), -1) << "its number is given to the next that asks";
    EXPECT_FALSE(m_second.claim(path("a"_s)));
    m_first.end();
    EXPECT_TRUE(m_second.claim(path("a"_s)));
    m_second.end();
    if (input == -1)
        return;
    EXPECT_EQ(::dup2(input, STDIN_FILENO), STDIN_FILENO);
    ::close(input);
}

TEST_F(PathClaimTest, IsSeenByOtherProcesses)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    EXPECT_EQ(OtherProcess(path("a"_s)).answer(), "refused"_s);
    EXPECT_EQ(OtherProcess(path("b"_s)).answer(), "held"_s);
    m_first.end();
    EXPECT_EQ(OtherProcess(path("a"_s)).answer(), "held"_s);
}

TEST_F(PathClaimTest, OfAnotherProcessEndsWithIt)
{
    {
        const OtherProcess other(path("a"_s));
        ASSERT_EQ(other.answer(), "held"_s);
        EXPECT_FALSE(m_first.claim(path("a"_s)));
    }
    EXPECT_TRUE(m_first.claim(path("a"_s)));
}

TEST_F(PathClaimTest, OfAKilledProcessIsGone)
{
    OtherProcess other(path("a"_s));
    ASSERT_EQ(other.answer(), "held"_s);
    ASSERT_FALSE(m_first.claim(path("a"_s)));
    ASSERT_TRUE(other.endsWhenKilled());
    EXPECT_TRUE(m_first.claim(path("a"_s)));
    EXPECT_EQ(m_directory.entries(), QStringList());
}

TEST_F(PathClaimTest, IsNotInheritedByProcessesThatATaskStarts)
{
    ASSERT_TRUE(m_first.claim(path("a"_s)));
    const OtherProcess child(path("b"_s)); // started while the claim is held, and alive to the end
    ASSERT_EQ(child.answer(), "held"_s);
    m_first.end();
    EXPECT_TRUE(m_second.claim(path("a"_s)));
}

} // namespace
