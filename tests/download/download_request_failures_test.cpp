#include "tests/download/support/download_client.h"

#include "tests/operation/support/file_limits.h"

#include <QtCore/QFile>

using namespace VESK;
using namespace VESK::Test;

namespace
{

using DownloadFailures = DownloadClientTest;

TEST_F(DownloadFailures, ReportsADirectoryThatCannotBeMade)
{
    ASSERT_TRUE(dir.write("in", "a file"));
    set("destPath", dir.path("in/box"));
    expectFailure(offer("abc"),
                  {macLine(), "error|downloadRequest: mkdir " + dir.path("in/box") + " failed."});
    EXPECT_EQ(dir.entries(), QStringList{"in"});
}

TEST_F(DownloadFailures, ReportsATemporaryFileThatCannotBeOpened)
{
    ASSERT_TRUE(dir.mkdir(temporaryName()));
    expectFailure(offer("abc"),
                  {macLine(),
                   "error|createStream: QFile open file " + temporary() + " failed.error Not a regular file",
                   "error|downloadRequest: createStream " + local() + " failed."});
    EXPECT_EQ(param("transferEndSize"), "");
    EXPECT_EQ(dir.entries(), (QStringList{"in/", temporaryName() + "/"}));
}

TEST_F(DownloadFailures, KeepsWhatCameBeforeTheServerLeft)
{
    const RunningTask task = start();
    answer(offer(content));
    ASSERT_TRUE(peer.sendBytes(content.left(70000)));
    ASSERT_TRUE(eventually([&] { return QFileInfo(temporary()).size() == 70000; }));
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    ASSERT_EQ(logged().size(), 2);
    EXPECT_EQ(logged().first(), macLine());
    EXPECT_TRUE(logged().last().startsWith("error|downloadRequest: recvfile " + local()
                                           + " failed.\nConnection was broken"))
        << logged().last().toStdString();
    EXPECT_EQ(dir.read(temporaryName()), content.left(70000));
    EXPECT_FALSE(dir.exists("in/file.bin"));
    EXPECT_EQ(param("transferEndSize"), "70000");
    EXPECT_EQ(done, 70000);
    EXPECT_EQ(total, content.size());
    EXPECT_EQ(handler().getStream(), nullptr);
}

TEST_F(DownloadFailures, ReportsAFullDisk)
{
    const FileSizeLimit limit(50000);
    const RunningTask task = start();
    answer(offer(content));
    (void)peer.sendBytes(content); // the receiver may hang up meanwhile
    EXPECT_EQ(task.result(), false);
    ASSERT_EQ(logged().size(), 2);
    EXPECT_TRUE(logged().last().startsWith("error|downloadRequest: recvfile " + local()
                                           + " failed.\nFile system failure"))
        << logged().last().toStdString();
    EXPECT_FALSE(dir.exists("in/file.bin"));
    EXPECT_EQ(handler().getStream(), nullptr);
}

TEST_F(DownloadFailures, ReportsAVerificationResultThatCannotBeSent)
{
    set("bVerify", "md5");
    for (const bool equal : {true, false}) {
        const int before = log.lines().size();
        auto &staged = useHandler<StagedHandler>();
        staged.beforeSend = [](int kind) { return kind != number(MessageKind::FileVerifyResult); };
        ASSERT_TRUE(dir.mkdir("in"));
        const RunningTask task = start();
        answer(offer("abc", {{"verifyValue", equal ? "900150983cd24fb0d6963f7d28e17f72" : "other"}}));
        ASSERT_TRUE(peer.sendBytes("abc"));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(log.lines().mid(before),
                  (QStringList{macLine(), "error|downloadRequest: send FileVerifyResult failed."}));
        EXPECT_EQ(dir.exists(temporaryName()), equal);
        EXPECT_FALSE(dir.exists("in/file.bin"));
        (void)QFile::remove(temporary());
    }
}

TEST_F(DownloadFailures, ReportsAClosingMessageThatCannotBeSent)
{
    auto &staged = useHandler<StagedHandler>();
    staged.beforeSend = [](int kind) { return kind != number(MessageKind::Closing); };
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), (QStringList{macLine(), timeLine(), "error|downloadRequest: send 8 failed."}));
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc")) << "it is in place already";
    EXPECT_FALSE(dir.exists(temporaryName()));
}

} // namespace
