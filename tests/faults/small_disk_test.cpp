#include "tests/faults/support/fault_test.h"
#include "tests/faults/support/small_disk.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

// A real file system without room, at every stage of an operation. What does not fit is never taken for
// whole, the error names it, and once there is room the next task goes on with what was kept.

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr int packetData = 1456; // bytes that a packet of the tests' connections carries
constexpr int evenPages = 91; // as many bytes as 256 packets
constexpr int manyNames = 100;
static_assert(evenPages * SmallDisk::pageSize % packetData == 0);

class SmallDiskTest : public FaultTest
{
protected:
    void SetUp() override
    {
        if (!SmallDisk::obstacle().isEmpty())
            GTEST_SKIP() << "no file system can be mounted here: " << SmallDisk::obstacle().toStdString();
        FaultTest::SetUp();
    }

    QString targetPath() { return dir.path(newTask().target()); }
    QString directoryPath() { return dir.path(newTask().targetDirectory()); }

    /// A transfer of `size` bytes to a disk with room for `pages` pages fails and leaves as many bytes as
    /// fit; with more room the next one brings the rest.
    void expectResumedTransfer(int size, int pages)
    {
        SCOPED_TRACE(testing::Message() << size << " bytes, room for " << pages << " pages");
        const QByteArray file = pattern(size);
        SmallDisk disk(directoryPath(), pages + 1, manyNames); // for none at all there is no word
        ASSERT_TRUE(disk.isMounted());
        FileTask task = newTask();
        ASSERT_TRUE(dir.write(task.targetDirectory() + "/filler", pattern(SmallDisk::pageSize)));
        ASSERT_TRUE(dir.write(task.source(), file));
        run(task);
        expectFailure(task, file);
        EXPECT_EQ(disk.room(), 0);
        EXPECT_EQ(dir.read(task.temporary()).size(), pages * SmallDisk::pageSize);
        EXPECT_EQ(task.receiver().getParam("transferEndSize").isEmpty(), false);
        EXPECT_TRUE(
            task.lastError(log, task.receiver())
                .startsWith(receiverName() + ": recvfile " + targetPath() + " failed.\nFile system failure"))
            << task.lastError(log, task.receiver()).toStdString();
        ASSERT_TRUE(disk.resize(pages + size / SmallDisk::pageSize + 2, manyNames));
        expectNextTaskToPlace(file);
    }

    /// A transfer that fails before a byte moves, with `error`, and leaves nothing in the target's directory.
    void expectNothingKept(FileTask &task, const QString &error)
    {
        run(task);
        EXPECT_FALSE(task.sent());
        EXPECT_FALSE(task.received());
        EXPECT_EQ(task.lastError(log, task.receiver()), receiverName() + ": " + error);
        EXPECT_EQ(task.receiver().getParam("transferEndSize"), "");
        EXPECT_FALSE(dir.exists(task.target()));
        EXPECT_FALSE(dir.exists(task.temporary()));
        EXPECT_EQ(task.receiver().getStream(), nullptr);
    }
};

TEST_P(SmallDiskTest, WithoutRoomForTheTemporaryFilesName)
{
    SmallDisk disk(directoryPath(), evenPages, 0);
    ASSERT_TRUE(disk.isMounted());
    FileTask task = newTask();
    expectNothingKept(task, "createStream " + targetPath() + " failed.");
    EXPECT_TRUE(log.lines(&task.receiver())
                    .join('\n')
                    .contains("error|createStream: QFile open file " + dir.path(task.temporary())
                              + " failed.error No space left on device"));
    ASSERT_TRUE(disk.resize(2 * content.size() / SmallDisk::pageSize, manyNames));
    expectNextTaskToPlace(content);
}

TEST_P(SmallDiskTest, WithoutRoomForTheNameOfTheTargetsDirectory)
{
    constexpr int takenNames = 5; // local or in, mount, area, root and the file that is sent
    const int pages = 3 * content.size() / SmallDisk::pageSize;
    SmallDisk disk(dir.path(), pages, takenNames);
    ASSERT_TRUE(disk.isMounted());
    FileTask task = newTask();
    ASSERT_TRUE(dir.mkdir("mount/area/root"));
    ASSERT_TRUE(dir.write(task.source(), content));
    expectNothingKept(task, "mkdir " + directoryPath() + " failed.");
    EXPECT_FALSE(dir.exists(task.targetDirectory()));
    ASSERT_TRUE(disk.resize(pages, manyNames));
    expectNextTaskToPlace(content);
}

TEST_P(SmallDiskTest, FullFromTheBeginning)
{
    expectResumedTransfer(1, 0);
    expectResumedTransfer(100000, 0);
}

TEST_P(SmallDiskTest, FullInTheMiddle)
{
    expectResumedTransfer(1000000, 1);
    expectResumedTransfer(1000000, 100);
    expectResumedTransfer(20 << 20, 500);
}

TEST_P(SmallDiskTest, FullAtTheLastPacketHoweverLittleIsMissing)
{
    for (const int last : {1, 500, 1023, 1024, packetData})
        expectResumedTransfer(evenPages * SmallDisk::pageSize + last, evenPages);
}

TEST_P(SmallDiskTest, FullInsideTheLastPacket)
{
    constexpr int pages = 35; // end 672 bytes after the 98th packet
    constexpr int packets = pages * SmallDisk::pageSize / packetData;
    static_assert(pages * SmallDisk::pageSize % packetData == 672);
    for (const int last : {673, 1023, 1024, packetData - 1})
        expectResumedTransfer(packets * packetData + last, pages);
}

TEST_P(SmallDiskTest, WithJustEnoughRoom)
{
    SmallDisk disk(directoryPath(), evenPages, 1);
    ASSERT_TRUE(disk.isMounted());
    const QByteArray file = pattern(evenPages * SmallDisk::pageSize);
    ASSERT_TRUE(dir.write(newTask().source(), file));
    expectNextTaskToPlace(file);
    EXPECT_EQ(disk.room(), 0);
}

TEST_P(SmallDiskTest, AFullSourceIsSentAsAnyOther)
{
    const QString sources = QFileInfo(dir.path(newTask().source())).path();
    SmallDisk disk(sources, evenPages, 1);
    ASSERT_TRUE(disk.isMounted());
    const QByteArray file = pattern(evenPages * SmallDisk::pageSize);
    ASSERT_TRUE(dir.write(newTask().source(), file));
    ASSERT_EQ(disk.room(), 0);
    expectNextTaskToPlace(file);
}

INSTANTIATE_TEST_SUITE_P(Transfers, SmallDiskTest, testing::ValuesIn(allTransfers()), nameOfFaultTest);

/// The server's half of the operations without a file.
class SmallDiskServer : public ServerTest
{
protected:
    void SetUp() override
    {
        if (!SmallDisk::obstacle().isEmpty())
            GTEST_SKIP() << "no file system can be mounted here: " << SmallDisk::obstacle().toStdString();
        ASSERT_TRUE(dir.mkdir("mount/area/root"));
    }
};

TEST_F(SmallDiskServer, ReportsADirectoryForWhoseNameThereIsNoRoom)
{
    SmallDisk disk(dir.path("mount/area/root"), 1, 1);
    ASSERT_TRUE(disk.isMounted());
    set("dirMod", "750");
    ParamMap task = taskParam("createDir");
    task.insert("destPath", "one/two");
    {
        const RunningTask running = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, task));
        EXPECT_EQ(running.result(), false);
    }
    EXPECT_EQ(logged(),
              (QStringList{"info|createDirRespond: " + storedPath("one/two") + " ...",
                           "error|createDirRespond: mkdir " + storedPath("one/two") + " failed."}));
    EXPECT_EQ(param("respondStatus"), "failed");
    EXPECT_TRUE(dir.exists(stored("one"))) << "what could be made stays";
}

TEST_F(SmallDiskServer, ListsAFullDisk)
{
    SmallDisk disk(dir.path("mount/area/root"), 1, 2);
    ASSERT_TRUE(disk.isMounted());
    ASSERT_TRUE(dir.mkdir(stored("in")));
    ASSERT_TRUE(dir.write(stored("in/file"), pattern(SmallDisk::pageSize)));
    ASSERT_EQ(disk.room(), 0);
    const RunningTask running = start();
    ParamMap task = taskParam("list");
    task.insert("srcPath", "in");
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, task));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(peer.recvMap(MessageKind::ListContent), (ParamMap{{"/file", "file"}, {"bLast", "true"}}));
    EXPECT_EQ(running.result(), true);
}

} // namespace
