#include "tests/faults/support/fault_test.h"

#include "tests/operation/support/file_limits.h"

// A disk that is full at one byte or another of a file: a short file never passes for a whole one.

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr int packetData = 1456; // bytes that a packet of the tests' connections carries

class FullDisk : public FaultTest
{
protected:
    /// One transfer of `size` bytes to a disk that holds `room` of them, and one when there is room.
    void expectNoShortFile(int size, int room)
    {
        SCOPED_TRACE(testing::Message() << size << " bytes, room for " << room);
        const QByteArray file = pattern(size);
        FileTask task = newTask();
        ASSERT_TRUE(dir.write(task.source(), file));
        QFile::remove(dir.path(task.target()));
        QFile::remove(dir.path(task.temporary()));
        {
            const FileSizeLimit full(static_cast<unsigned long>(room));
            run(task);
        }
        expectFailure(task, file);
        EXPECT_TRUE(task.lastError(log, task.receiver())
                        .startsWith(receiverName() + ": recvfile " + dir.path(task.target())
                                    + " failed.\nFile system failure"))
            << task.lastError(log, task.receiver()).toStdString();
        expectNextTaskToPlace(file);
    }
};

TEST_P(FullDisk, OnTheLastPacketHoweverLittleIsMissing)
{
    const int packets = 300 * packetData;
    for (const int last : {1, 2, 511, 1023, 1024, 1025, packetData})
        expectNoShortFile(packets + last, packets);
    expectNoShortFile(packets + 1000, packets + 999);
    expectNoShortFile(packets + 1023, packets + 1);
}

TEST_P(FullDisk, OnTheOnlyPacket)
{
    for (const int size : {1, 1023, 1024, packetData})
        expectNoShortFile(size, 0);
    expectNoShortFile(1000, 999);
}

TEST_P(FullDisk, InTheMiddle)
{
    for (const int room : {0, 1, packetData, packetData + 700, 500000, 999999})
        expectNoShortFile(1000000, room);
}

TEST_P(FullDisk, WithMoreThanATransportCanHold)
{
    expectNoShortFile(40 << 20, 1000000);
}

INSTANTIATE_TEST_SUITE_P(Transfers, FullDisk, testing::ValuesIn(allTransfers()), nameOfFaultTest);

} // namespace
