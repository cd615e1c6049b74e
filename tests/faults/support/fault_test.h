#pragma once

#include "tests/faults/support/file_task.h"
#include "tests/support/udt_pair.h"

#include <QtCore/QDirIterator>

#include <gmock/gmock.h>

#include <unistd.h>

namespace VESK::Test
{

/// One fault in the middle of a transfer, for each direction with and without verification; then the fault
/// is gone and the next task goes on with what was kept.
class FaultTest : public testing::TestWithParam<Transfer>
{
protected:
    void SetUp() override
    {
        FileTask task = newTask();
        ASSERT_TRUE(dir.write(task.source(), content));
        ASSERT_TRUE(dir.mkdir(task.targetDirectory()));
    }

    FileTask newTask() const { return FileTask(dir, GetParam().direction, GetParam().verifyMode); }
    bool isVerified() const { return GetParam().verifyMode != std::string("false"); }
    bool isUpload() const { return GetParam().direction == Direction::Upload; }

    /// Runs the task on a connection of its own, to an end at both ends.
    static void run(FileTask &task)
    {
        UdtPair pair;
        ASSERT_TRUE(task.run(pair.client(), pair.server())) << "a task that does not end";
    }

    /// Both ends failed, no target is there, and what was kept is the beginning of `sent`.
    void expectFailure(FileTask &task, const QByteArray &sent)
    {
        EXPECT_FALSE(task.sent());
        EXPECT_FALSE(task.received());
        EXPECT_FALSE(dir.exists(task.target()));
        EXPECT_TRUE(sent.startsWith(dir.read(task.temporary())));
        EXPECT_EQ(task.sender().getStream(), nullptr);
        EXPECT_EQ(task.receiver().getStream(), nullptr);
    }

    /// The next task, without a fault, puts `expected` in place.
    void expectNextTaskToPlace(const QByteArray &expected)
    {
        FileTask next = newTask();
        run(next);
        EXPECT_TRUE(next.sent());
        EXPECT_TRUE(next.received());
        EXPECT_TRUE(dir.read(next.target()) == expected);
        EXPECT_FALSE(dir.exists(next.temporary()));
    }

    /// Hands the whole tree to the user that tests run as when they are not to be root.
    void giveToOrdinaryUser() const
    {
        constexpr uid_t nobody = 65534;
        if (::geteuid() != 0)
            return;
        ASSERT_EQ(::chown(dir.path().toUtf8().constData(), nobody, nobody), 0);
        QDirIterator entries(dir.path(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                             QDirIterator::Subdirectories);
        while (entries.hasNext())
            ASSERT_EQ(::chown(entries.next().toUtf8().constData(), nobody, nobody), 0);
    }

    /// Both names of an operation, as in "uploadRequest".
    QString senderName() const { return isUpload() ? "uploadRequest" : "downloadRespond"; }
    QString receiverName() const { return isUpload() ? "uploadRespond" : "downloadRequest"; }

    const LogRecorder log;
    const TempDir dir;
    const QByteArray content = pattern(1000000);
};

inline std::string nameOfFaultTest(const testing::TestParamInfo<Transfer> &info)
{
    return transferName(info.param);
}

} // namespace VESK::Test
