#include "tests/faults/support/fault_test.h"

#include "tests/operation/support/file_limits.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

// A file that changes while it is being sent.

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// Puts a directory in the place of the descriptor with which this process has `path` open: the next read
/// fails. False when there is none.
bool breakReading(const QString &path)
{
    const QDir descriptors("/proc/self/fd");
    for (const QString &name :
         descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        if (QFile::symLinkTarget(descriptors.filePath(name)) != path)
            continue;
        const int directory = ::open("/", O_RDONLY | O_CLOEXEC);
        // Straight to the kernel: behind the back of the task, and of ThreadSanitizer, which would see a
        // race.
        const bool isBroken = ::syscall(SYS_dup3, directory, name.toInt(), 0) != -1;
        ::close(directory);
        return isBroken;
    }
    return false;
}

class SourceFault : public FaultTest
{
};

TEST_P(SourceFault, GrowingAfterTheAnswerItIsSentAsOffered)
{
    FileTask task = newTask();
    task.atAnswer(task.sender(), [&] { EXPECT_TRUE(dir.write(task.source(), content + "and more")); });
    run(task);
    EXPECT_TRUE(task.sent());
    EXPECT_TRUE(task.received());
    EXPECT_TRUE(dir.read(task.target()) == content);
}

TEST_P(SourceFault, ShrinkingItEndsTheTaskAtBothEndsAndIsResumedWhenItIsBack)
{
    FileTask task = newTask();
    task.atAnswer(task.sender(), [&] { EXPECT_TRUE(QFile::resize(dir.path(task.source()), 400000)); });
    run(task);
    expectFailure(task, content);
    EXPECT_TRUE(task.lastError(log, task.sender())
                    .startsWith(senderName() + ": sendfile " + dir.path(task.source())
                                + " failed.\nFile system failure"))
        << task.lastError(log, task.sender()).toStdString();
    EXPECT_TRUE(task.lastError(log, task.receiver())
                    .startsWith(receiverName() + ": recvfile " + dir.path(task.target())
                                + " failed.\nConnection was broken"))
        << task.lastError(log, task.receiver()).toStdString();

    ASSERT_TRUE(dir.write(task.source(), content));
    expectNextTaskToPlace(content);
}

TEST_P(SourceFault, ReplacedAfterTheAnswerOnlyVerificationNotices)
{
    const QByteArray other = pattern(content.size(), 2);
    FileTask task = newTask();
    task.atAnswer(task.sender(), [&] {
        QFile::remove(dir.path(task.source()));
        EXPECT_TRUE(dir.write(task.source(), other));
    });
    run(task);
    if (!isVerified()) {
        EXPECT_TRUE(task.sent());
        EXPECT_TRUE(task.received());
        EXPECT_TRUE(dir.read(task.target()) == other);
        return;
    }
    expectFailure(task, content);
    EXPECT_FALSE(dir.exists(task.temporary())) << "it can only mislead";
    EXPECT_EQ(task.lastError(log, task.receiver()), receiverName() + ": FileVerify failed.");
    EXPECT_EQ(task.lastError(log, task.sender()), senderName() + ": FileVerifyResult error.");
    expectNextTaskToPlace(other);
}

TEST_P(SourceFault, ReplacedOnceItIsOpenTheOldOneArrives)
{
    FileTask task = newTask();
    task.sender().beforeBulk = [&] {
        QFile::remove(dir.path(task.source()));
        EXPECT_TRUE(dir.write(task.source(), pattern(500)));
    };
    run(task);
    EXPECT_TRUE(task.sent());
    EXPECT_TRUE(task.received());
    EXPECT_TRUE(dir.read(task.target()) == content);
}

TEST_P(SourceFault, LosingItsReadPermissionEndsTheTaskAtBothEnds)
{
    giveToOrdinaryUser();
    FileTask task = newTask();
    task.sendAsOrdinaryUser();
    task.atAnswer(task.sender(), [&] { EXPECT_TRUE(VeskBase::chmod(dir.path(task.source()), 0)); });
    run(task);
    expectFailure(task, content);
    EXPECT_EQ(task.lastError(log, task.sender()),
              senderName() + ": createStream " + dir.path(task.source()) + " failed.");

    ASSERT_TRUE(VeskBase::chmod(dir.path(task.source()), 0644));
    expectNextTaskToPlace(content);
}

TEST_P(SourceFault, AReadErrorInTheMiddleEndsTheTaskAtBothEndsAndIsResumed)
{
    const QByteArray large = pattern(64 << 20); // more than the transport can hold on its way
    FileTask task = newTask();
    ASSERT_TRUE(dir.write(task.source(), large));
    const QString partial = dir.path(task.temporary());
    const Background fault([&] {
        return eventually([&] { return QFileInfo(partial).size() > 0; })
            && breakReading(dir.path(task.source()));
    });
    run(task);
    EXPECT_EQ(fault.wait(patience), true);
    expectFailure(task, large);
    EXPECT_TRUE(
        task.lastError(log, task.sender()).startsWith(senderName() + ": sendfile " + dir.path(task.source())))
        << task.lastError(log, task.sender()).toStdString();
    EXPECT_GT(dir.read(task.temporary()).size(), 0);
    expectNextTaskToPlace(large);
}

INSTANTIATE_TEST_SUITE_P(Transfers, SourceFault, testing::ValuesIn(allTransfers()), nameOfFaultTest);

} // namespace
