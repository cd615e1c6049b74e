#include "tests/faults/support/fault_test.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

// A target's directory that changes while a file for it is on its way.

using namespace VESK;
using namespace VESK::Test;

namespace
{

class TargetFault : public FaultTest
{
protected:
    void moveDirectoryAway() const { ASSERT_TRUE(QDir().rename(directory(), dir.path("elsewhere"))); }

    void putAFileThere() const
    {
        moveDirectoryAway();
        QFile file(directory());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    void putTheDirectoryBack() const
    {
        QFile::remove(directory());
        ASSERT_TRUE(QDir().rename(dir.path("elsewhere"), directory()));
    }

    QString directory() const { return dir.path(newTask().targetDirectory()); }
};

TEST_P(TargetFault, GoneAfterTheAnswerItsDirectoryIsMadeAgain)
{
    FileTask task = newTask();
    task.atAnswer(task.receiver(), [&] { EXPECT_TRUE(QDir(directory()).removeRecursively()); });
    run(task);
    EXPECT_TRUE(task.sent());
    EXPECT_TRUE(task.received());
    EXPECT_TRUE(dir.read(task.target()) == content);
}

TEST_P(TargetFault, ReplacedByAFileAfterTheAnswerItsDirectoryCannotBeMade)
{
    FileTask task = newTask();
    task.atAnswer(task.receiver(), [&] { putAFileThere(); });
    run(task);
    EXPECT_EQ(task.lastError(log, task.receiver()), receiverName() + ": mkdir " + directory() + " failed.");
    expectFailure(task, content);
    putTheDirectoryBack();
    expectNextTaskToPlace(content);
}

TEST_P(TargetFault, GoneAfterTheDataNothingIsPlaced)
{
    FileTask task = newTask();
    task.receiver().afterBulk = [&] { moveDirectoryAway(); };
    run(task);
    expectFailure(task, content);
    EXPECT_EQ(dir.exists("elsewhere/file.bin"), false);
    putTheDirectoryBack();
    expectNextTaskToPlace(content);
}

TEST_P(TargetFault, ReplacedByAFileAfterTheDataNothingIsPlaced)
{
    FileTask task = newTask();
    task.receiver().afterBulk = [&] { putAFileThere(); };
    run(task);
    expectFailure(task, content);
    EXPECT_EQ(QFileInfo(directory()).size(), 0) << "the file in the way is untouched";
    putTheDirectoryBack();
    expectNextTaskToPlace(content);
}

TEST_P(TargetFault, ReadOnlyAfterTheDataNothingIsPlacedAndEverythingKept)
{
    giveToOrdinaryUser();
    FileTask task = newTask();
    task.receiveAsOrdinaryUser();
    task.receiver().afterBulk = [&] { EXPECT_TRUE(VeskBase::chmod(directory(), 0555)); };
    run(task);
    expectFailure(task, content);
    EXPECT_EQ(task.lastError(log, task.receiver()),
              receiverName() + ": rename " + dir.path(task.temporary()) + " to " + dir.path(task.target())
                  + " failed.");
    EXPECT_TRUE(dir.read(task.temporary()) == content);
    ASSERT_TRUE(VeskBase::chmod(directory(), 0755));
    expectNextTaskToPlace(content);
}

TEST_P(TargetFault, ALinkInThePlaceOfThePartialFileIsNotWrittenThrough)
{
    ASSERT_TRUE(dir.write("outside", "somebody else's"));
    for (const QString led : {"nowhere", "outside"}) {
        FileTask task = newTask();
        const QString partial = dir.path(task.temporary());
        task.atAnswer(task.receiver(), [&] { EXPECT_TRUE(QFile::link(dir.path(led), partial)); });
        run(task);
        EXPECT_EQ(task.lastError(log, task.receiver()),
                  receiverName() + ": createStream " + dir.path(task.target()) + " failed.");
        EXPECT_FALSE(task.sent());
        EXPECT_FALSE(task.received());
        EXPECT_FALSE(dir.exists(task.target()));
        ASSERT_TRUE(QFile::remove(partial));
    }
    EXPECT_FALSE(dir.exists("nowhere"));
    EXPECT_EQ(dir.read("outside"), "somebody else's");
    expectNextTaskToPlace(content);
}

// An existing target is only replaced when verification finds a difference.
class OldTargetFault : public TargetFault
{
};

TEST_P(OldTargetFault, ReadOnlyAfterTheDataTheOldTargetStays)
{
    FileTask task = newTask();
    ASSERT_TRUE(dir.write(task.target(), "old"));
    giveToOrdinaryUser();
    task.receiveAsOrdinaryUser();
    task.receiver().afterBulk = [&] { EXPECT_TRUE(VeskBase::chmod(directory(), 0555)); };
    run(task);
    EXPECT_FALSE(task.sent());
    EXPECT_FALSE(task.received());
    EXPECT_EQ(task.lastError(log, task.receiver()),
              receiverName() + ": removeFile " + dir.path(task.target()) + " failed.");
    EXPECT_EQ(dir.read(task.target()), "old");
    ASSERT_TRUE(VeskBase::chmod(directory(), 0755));
    expectNextTaskToPlace(content);
}

INSTANTIATE_TEST_SUITE_P(Transfers, TargetFault, testing::ValuesIn(allTransfers()), nameOfFaultTest);

INSTANTIATE_TEST_SUITE_P(Transfers, OldTargetFault,
                         testing::Values(Transfer{Direction::Upload, "xxh128"},
                                         Transfer{Direction::Download, "xxh128"}),
                         nameOfFaultTest);

} // namespace
