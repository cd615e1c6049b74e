#include "tests/download/support/download_client.h"
#include "tests/download/support/download_server.h"
#include "tests/download/support/hooked_handler.h"

// Where both halves of a download look for a stop, and where they do not.

using namespace VESK;
using namespace VESK::Test;

namespace
{

using DownloadCheckPoints = DownloadClientTest;

TEST_F(DownloadCheckPoints, AStoppedClientStillAsksAndThenTouchesNothing)
{
    handler().setStatus("pause");
    const RunningTask task = start();
    answer(offer(content));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(logged(), QStringList{macLine()});
    EXPECT_EQ(total, content.size());
    EXPECT_EQ(dir.entries(), QStringList()) << "not even the directory is made";
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadCheckPoints, ASecondPassIsOneAlsoForAStoppedClient)
{
    set("bVerify", "md5");
    ASSERT_TRUE(dir.write("in/file.bin", "abc"));
    handler().setStatus("pause");
    const RunningTask task = start();
    answer(offer("abc", {{"bTransfer", "false"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(
        logged(),
        (QStringList{macLine(), "info|downloadRequest: file " + local() + " second pass.", timeLine()}));
    EXPECT_EQ(timeOf(local()), serverTime);
}

TEST_F(DownloadCheckPoints, AClientThatIsStoppedAfterTheDataPutsTheFileInPlace)
{
    set("bVerify", "md5");
    auto &hooked = useHandler<HookedHandler>();
    hooked.afterSet = [&](const QString &key) {
        if (key == "transferEndSize")
            hooked.setStatus("pause");
    };
    const RunningTask task = start();
    answer(offer("abc", {{"verifyValue", "900150983cd24fb0d6963f7d28e17f72"}}));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "true"}}));
    expectClosing();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(logged(), (QStringList{macLine(), timeLine()}));
    EXPECT_EQ(dir.entries(), (QStringList{"in/", "in/file.bin"}));
}

TEST_F(DownloadCheckPoints, NamesTheMissingFileBeforeTheTemporaryFileGoes)
{
    ASSERT_TRUE(dir.write(temporaryName(), "part"));
    auto &hooked = useHandler<HookedHandler>();
    bool isThere = false;
    hooked.onLog = [&](const QString &) { isThere = dir.exists(temporaryName()); };
    expectFailure(offer("abc", {{"errorType", "FileNotExist"}, {"errorName", "/x"}}),
                  {macLine(), "error|downloadRequest: server file [/x] not existed ."});
    EXPECT_TRUE(isThere);
    EXPECT_FALSE(dir.exists(temporaryName()));
}

TEST_F(DownloadCheckPoints, WarnsBeforeTheTemporaryFileGoes)
{
    ASSERT_TRUE(dir.write(temporaryName(), "part"));
    auto &hooked = useHandler<HookedHandler>();
    QStringList linesWithIt;
    hooked.onLog = [&](const QString &message) {
        if (dir.exists(temporaryName()))
            linesWithIt << message.section(' ', 0, 2);
    };
    const RunningTask task = start();
    answer(offer("", {{"bTruncate", "true"}, {"bTransfer", "false"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(linesWithIt, (QStringList{"downloadRequest: local mac", "downloadRequest: client tmp"}));
}

TEST_F(DownloadCheckPoints, AMissingFileIsNotTruncatedToo)
{
    ASSERT_TRUE(dir.write(temporaryName(), "part"));
    expectFailure(
        offer("abc", {{"errorType", "FileNotExist"}, {"bTruncate", "true"}, {"bTransfer", "false"}}),
        {macLine(), "error|downloadRequest: server file [] not existed ."});
    EXPECT_FALSE(dir.exists(temporaryName()));
    EXPECT_EQ(done, 4) << "the counter is left where it was";
}

TEST_F(DownloadCheckPoints, OnlyTheExactWordsTruncateAndSpareTheData)
{
    set("bReplace", "false");
    for (const char *word : {"", "True", "FALSE", "False", "1", "0", "no"}) {
        SCOPED_TRACE(word);
        set("fileName", QString("file") + word);
        const QString partial = VeskBase().generateTmpFilePath(dir.path("in/file") + word);
        ASSERT_TRUE(dir.write("in/" + partial.section('/', -1), "ab"));
        const RunningTask task = start();
        answer(offer("abc", {{"bTruncate", word}, {"bTransfer", word}}));
        ASSERT_TRUE(peer.sendBytes("c"));
        EXPECT_EQ(peer.recvMap(MessageKind::Closing), (ParamMap{{"fileName", QString("file") + word}}));
        EXPECT_EQ(task.result(), true);
        EXPECT_EQ(dir.read(QString("in/file") + word), QByteArray("abc"));
    }
}

class DownloadServerCheckPoints : public DownloadServerTest
{
protected:
    /// A handler that is stopped once its answer has gone out.
    void stopWithTheAnswer()
    {
        auto &staged = useHandler<StagedHandler>();
        staged.afterSend = [&](int kind) {
            if (kind == number(MessageKind::TaskParamAck))
                staged.setStatus("pause");
        };
        m_before = log.lines().size();
    }

    void expectLines(const QStringList &expected) const { EXPECT_EQ(log.lines().mid(m_before), expected); }

private:
    int m_before = 0;
};

TEST_F(DownloadServerCheckPoints, ASecondPassIsOneAlsoForAStoppedServer)
{
    offer("abc");
    stopWithTheAnswer();
    const RunningTask task = start();
    ask(taskFor({{"bVerify", "md5"}, {"verifyValue", "900150983cd24fb0d6963f7d28e17f72"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(param("respondStatus"), "success");
    expectLines({startLine(), "info|downloadRespond: file " + path() + " second pass."});
}

TEST_F(DownloadServerCheckPoints, AMissingFileIsReportedAlsoByAStoppedServer)
{
    stopWithTheAnswer();
    const RunningTask task = start();
    EXPECT_EQ(ask(taskFor()).value("ackRespond"), "false");
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(param("respondStatus"), "failed");
    expectLines({startLine(), "error|downloadRespond: file " + path() + " not exist."});
}

TEST_F(DownloadServerCheckPoints, AStoppedServerStillAnswersAndThenOpensNothing)
{
    offer("abc");
    handler().setStatus("pause");
    const RunningTask task = start();
    EXPECT_EQ(ask(taskFor()).value("ackRespond"), "true");
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(lines(), QStringList{startLine()});
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_EQ(param("beginTime"), "");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadServerCheckPoints, AServerThatIsStoppedAfterTheDataHearsBothMessages)
{
    offer("abc");
    auto &hooked = useHandler<HookedHandler>();
    hooked.afterSet = [&](const QString &key) {
        if (key == "transferEndSize")
            hooked.setStatus("pause");
    };
    const int before = log.lines().size();
    const RunningTask task = start();
    ask(taskFor({{"bVerify", "md5"}}));
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    ASSERT_TRUE(peer.sendMap(MessageKind::FileVerifyResult, {{"verifyResult", "true"}}));
    EXPECT_FALSE(task.result(std::chrono::milliseconds(50)));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(param("respondStatus"), "success");
    EXPECT_EQ(log.lines().mid(before), QStringList{startLine()});
}

} // namespace
