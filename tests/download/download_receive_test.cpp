#include "tests/download/support/download_client.h"

#include "vesk_base/verify_value.h"

using namespace VESK;
using namespace VESK::Test;

namespace
{

using DownloadReceive = DownloadClientTest;

TEST_F(DownloadReceive, PutsTheFileInPlaceWithTheServersTime)
{
    const RunningTask task = start();
    answer(offer(content));
    ASSERT_TRUE(peer.sendBytes(content));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), (QStringList{macLine(), timeLine()}));
    EXPECT_EQ(dir.read("in/file.bin"), content);
    EXPECT_EQ(timeOf(local()), serverTime);
    EXPECT_EQ(dir.entries(), (QStringList{"in/", "in/file.bin"}));
    EXPECT_EQ(total, content.size());
    EXPECT_EQ(done, content.size());
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(param("transferEndSize"), QString::number(content.size()));
    EXPECT_NE(param("beginTime"), "");
    EXPECT_NE(param("endTime"), "");
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadReceive, TakesAnAbsentTransferWordForAYes)
{
    const RunningTask task = start();
    answer({{"ackRespond", "true"}, {"fileSize", "3"}});
    ASSERT_TRUE(peer.sendBytes("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    EXPECT_EQ(logged(), QStringList{macLine()}) << "no time was offered";
}

TEST_F(DownloadReceive, CreatesEveryMissingDirectory)
{
    set("destPath", dir.path("in/a %1/ä"));
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(peer.sendBytes("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/a %1/ä/file.bin"), QByteArray("abc"));
}

TEST_F(DownloadReceive, ReceivesAnEmptyFile)
{
    const RunningTask task = start();
    answer(offer(""));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray(""));
    EXPECT_EQ(total, 0);
    EXPECT_EQ(param("transferEndSize"), "0");
}

TEST_F(DownloadReceive, GoesOnWhereTheTemporaryFileEnds)
{
    ASSERT_TRUE(dir.write(temporaryName(), content.left(60000)));
    const RunningTask task = start();
    answer(offer(content));
    EXPECT_EQ(asked.value("offset"), "60000");
    ASSERT_TRUE(peer.sendBytes(content.mid(60000)));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), content);
    EXPECT_FALSE(dir.exists(temporaryName()));
    EXPECT_EQ(param("transferBeginSize"), "60000");
    EXPECT_EQ(param("transferEndSize"), QString::number(content.size()));
    EXPECT_EQ(done, content.size());
}

TEST_F(DownloadReceive, NeedsNoByteWhenTheTemporaryFileIsComplete)
{
    set("bVerify", "sha1");
    ASSERT_TRUE(dir.write(temporaryName(), content));
    const RunningTask task = start();
    answer(offer(content, {{"verifyValue", fileVerifyValue(temporary(), "sha1")}}));
    EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "true"}}));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), content);
}

TEST_F(DownloadReceive, KeepsALongerTemporaryFileUnlessToldOtherwise)
{
    ASSERT_TRUE(dir.write(temporaryName(), "0123456789"));
    const RunningTask task = start();
    answer(offer("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("0123456789")) << "the server judges, not the client";
}

TEST_F(DownloadReceive, WithReplaceTheNewBytesFollowTheOldTemporaryOnes)
{
    set("bReplace", "true");
    ASSERT_TRUE(dir.write("in/file.bin", "earlier"));
    ASSERT_TRUE(dir.write(temporaryName(), "OLD"));
    const RunningTask task = start();
    answer(offer("abc"));
    EXPECT_EQ(asked.value("offset"), "0");
    ASSERT_TRUE(peer.sendBytes("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("OLDabc"));
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(param("transferEndSize"), "3");
}

TEST_F(DownloadReceive, VerificationCatchesBytesThatFollowOldOnes)
{
    set("bReplace", "true");
    set("bVerify", "md5");
    ASSERT_TRUE(dir.write("in/file.bin", "earlier"));
    ASSERT_TRUE(dir.write(temporaryName(), "OLD"));
    const RunningTask task = start();
    answer(offer("abc", {{"verifyValue", "900150983cd24fb0d6963f7d28e17f72"}}));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "false"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("earlier"));
    EXPECT_FALSE(dir.exists(temporaryName()));
}

TEST_F(DownloadReceive, ReplacesAnExistingFile)
{
    set("bReplace", "true");
    ASSERT_TRUE(dir.write("in/file.bin", "earlier and longer"));
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(peer.sendBytes("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    EXPECT_EQ(dir.entries(), (QStringList{"in/", "in/file.bin"}));
}

TEST_F(DownloadReceive, ReportsAMatchingValueBeforeTheFileIsInPlace)
{
    set("bVerify", "md5");
    auto &staged = useHandler<StagedHandler>();
    staged.beforeSend = [&](int kind) {
        const bool inPlace = dir.exists("in/file.bin");
        EXPECT_EQ(inPlace, kind == number(MessageKind::Closing)) << kind;
        return true;
    };
    const RunningTask task = start();
    answer(offer("abc", {{"verifyValue", "900150983cd24fb0d6963f7d28e17f72"}}));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "true"}}));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), (QStringList{macLine(), timeLine()}));
}

TEST_F(DownloadReceive, AMismatchCostsTheTemporaryFileAndKeepsTheLocalOne)
{
    for (const char *announced : {"", "900150983CD24FB0D6963F7D28E17F72", "other"}) {
        SCOPED_TRACE(announced);
        const int before = logged().size();
        set("bVerify", "md5");
        ASSERT_TRUE(dir.write("in/file.bin", "earlier"));
        const RunningTask task = start();
        answer(offer("abc", {{"verifyValue", announced}}));
        ASSERT_TRUE(peer.sendBytes("abc"));
        EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "false"}}));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged().mid(before),
                  (QStringList{macLine(), "error|downloadRequest: FileVerify failed."}));
        EXPECT_EQ(dir.read("in/file.bin"), QByteArray("earlier"));
        EXPECT_FALSE(dir.exists(temporaryName()));
        EXPECT_TRUE(nothingElseCame(handler(), peer));
    }
}

TEST_F(DownloadReceive, ASecondPassSetsTheTimeAndSaysNothing)
{
    set("bVerify", "md5");
    ASSERT_TRUE(dir.write("in/file.bin", "abc"));
    ASSERT_TRUE(dir.write(temporaryName(), "part"));
    const RunningTask task = start();
    answer(offer("abcdef", {{"bTransfer", "false"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(
        logged(),
        (QStringList{macLine(), "info|downloadRequest: file " + local() + " second pass.", timeLine()}));
    EXPECT_EQ(timeOf(local()), serverTime);
    EXPECT_EQ(total, 6);
    EXPECT_EQ(param("transferEndSize"), "");
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    EXPECT_EQ(dir.read(temporaryName()), QByteArray("part"));
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadReceive, ASecondPassWithoutALocalFileOnlyComplainsAboutItsTime)
{
    const RunningTask task = start();
    answer(offer("abc", {{"bTransfer", "false"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(),
              (QStringList{macLine(), "info|downloadRequest: file " + local() + " second pass.",
                           "error|downloadRequest: get stat of  " + local() + " failed."}));
    EXPECT_EQ(dir.entries(), QStringList());
}

TEST_F(DownloadReceive, DropsItsTemporaryFileWhenTold)
{
    ASSERT_TRUE(dir.write(temporaryName(), pattern(500)));
    const RunningTask task = start();
    answer(offer("abc", {{"bTruncate", "true"}}));
    ASSERT_TRUE(peer.sendBytes("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(),
              (QStringList{macLine(),
                           "warning|downloadRequest: client tmp file offset[500], server file size[3], "
                           "remove tmp file ["
                               + temporary() + "].",
                           timeLine()}));
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    EXPECT_EQ(param("transferBeginSize"), "500") << "it tells where the task began";
    EXPECT_EQ(param("transferEndSize"), "3");
    EXPECT_EQ(done, 3);
}

TEST_F(DownloadReceive, DropsItsTemporaryFileForASecondPassToo)
{
    ASSERT_TRUE(dir.write(temporaryName(), pattern(500)));
    const RunningTask task = start();
    answer(offer("abc", {{"bTruncate", "true"}, {"bTransfer", "false"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_FALSE(dir.exists(temporaryName()));
    EXPECT_EQ(done, 0);
}

TEST_F(DownloadReceive, ReportsATemporaryFileThatCannotBeDropped)
{
    expectFailure(
        offer("abc", {{"bTruncate", "true"}}),
        {macLine(),
         "warning|downloadRequest: client tmp file offset[0], server file size[3], remove tmp file ["
             + temporary() + "].",
         "error|downloadRequest: remove tmp file " + temporary() + " failed."});
    EXPECT_EQ(total, untouched);
    EXPECT_EQ(dir.entries(), QStringList());
}

TEST_F(DownloadReceive, MovesNothingForASizeBelowTheOffset)
{
    for (const char *size : {"-1", "-5", "-9223372036854775808", "garbage", "", "99999999999999999999"}) {
        SCOPED_TRACE(size);
        ASSERT_TRUE(dir.write("in/file.bin", "earlier"));
        ASSERT_TRUE(dir.write(temporaryName(), "part"));
        set("bReplace", "false");
        set("bVerify", "md5");
        const RunningTask task = start();
        answer(offer("", {{"fileSize", size}, {"verifyValue", "x"}}));
        EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "false"}}));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged().last(), "error|downloadRequest: FileVerify failed.");
        EXPECT_EQ(dir.read("in/file.bin"), QByteArray("earlier"));
    }
}

TEST_F(DownloadReceive, AnAbsurdSizeWaitsForItsBytesAndEndsWithTheConnection)
{
    const RunningTask task = start();
    answer(offer("", {{"fileSize", "9000000000000000000"}}));
    ASSERT_TRUE(peer.sendBytes("abc"));
    ASSERT_TRUE(eventually([&] { return QFileInfo(temporary()).size() == 3; }));
    EXPECT_EQ(__atomic_load_n(&total, __ATOMIC_RELAXED), 9000000000000000000);
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(dir.read(temporaryName()), QByteArray("abc"));
    EXPECT_FALSE(dir.exists("in/file.bin"));
}

TEST_F(DownloadReceive, SurvivesAbsurdTimes)
{
    set("bReplace", "true");
    for (const char *time : {"garbage", "", "0", "-1", "-100", "9000000000000000000", "-9000000000000000000",
                             "99999999999999999999", "4294967295"}) {
        SCOPED_TRACE(time);
        const RunningTask task = start();
        answer(offer("abc", {{"mtime", time}}));
        ASSERT_TRUE(peer.sendBytes("abc"));
        expectClosing();
        EXPECT_EQ(task.result(), true);
        EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    }
}

TEST_F(DownloadReceive, UnderstandsTimesBefore1970AndBeyond2038)
{
    set("bReplace", "true");
    for (const qint64 time : {-100LL, 4000000000LL}) {
        const RunningTask task = start();
        answer(offer("abc", {{"mtime", QString::number(time)}}));
        ASSERT_TRUE(peer.sendBytes("abc"));
        expectClosing();
        EXPECT_EQ(task.result(), true);
        EXPECT_EQ(timeOf(local()), time);
    }
}

TEST_F(DownloadReceive, AnAnswerCannotChooseAnythingButItsOwnKeys)
{
    const ParamMap hostile{{"fileName", "../../escaped"},
                           {"destPath", "/"},
                           {"tmpFilePath", dir.path("x")},
                           {"path", dir.path("y")},
                           {"clientSocket", "1"},
                           {"total", "8"},
                           {"offset", "8"},
                           {"_errorStr", "hacked"}};
    const RunningTask task = start();
    answer(offer("abc", hostile));
    ASSERT_TRUE(peer.sendBytes("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.entries(), (QStringList{"in/", "in/file.bin"}));
    EXPECT_EQ(handler().getLastError(), "");
    EXPECT_EQ(param("destPath"), dir.path("in"));
}

} // namespace
