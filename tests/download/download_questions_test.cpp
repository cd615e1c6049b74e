#include "tests/download/support/download_client.h"
#include "tests/download/support/download_server.h"
#include "tests/operation/support/asking_handler.h"

// What both halves of a download ask their base for, and in which order: derived handlers answer, and count
// on it.

using namespace VESK;
using namespace VESK::Test;

namespace
{

using DownloadQuestions = DownloadClientTest;

const QStringList clientBegin{"clientSocket [-1]", "fileName []", "destPath []", "bVerify [false]",
                              "bReplace []",       "total [0]",   "offset [0]"};
const QString clientKeys = "all of operator fileName srcPath rootPath userName appKey appVersion bVerify";

TEST_F(DownloadQuestions, OfTheClientComeInOneOrder)
{
    set("bVerify", "md5");
    ASSERT_TRUE(dir.write("in/file.bin", "earlier"));
    auto &asking = useHandler<AskingHandler>();
    asking.begin();
    const Background task([&] { return asking.downloadRequest(); });
    answer(offer("abc", {{"verifyValue", "900150983cd24fb0d6963f7d28e17f72"}}));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_TRUE(peer.recvMap(MessageKind::FileVerifyResult));
    expectClosing();
    EXPECT_EQ(task.wait(patience), true);
    EXPECT_EQ(
        asking.calls(),
        clientBegin
            + QStringList({clientKeys, "value by md5", "mac []", "log info", "set mac", "temporary path",
                           "set tmpFilePath", "set transferBeginSize", "send 5", "receive 6", "set beginTime",
                           "set transferEndSize", "value by md5", "send 7", "log debug", "send 8"}));
}

TEST_F(DownloadQuestions, OfTheClientEndWhenTheFileIsKeptUnseen)
{
    ASSERT_TRUE(dir.write("in/file.bin", "content"));
    auto &asking = useHandler<AskingHandler>();
    asking.begin();
    EXPECT_TRUE(asking.downloadRequest());
    EXPECT_EQ(asking.calls(), clientBegin + QStringList(clientKeys));
}

TEST_F(DownloadQuestions, OfTheClientComeBeforeItMissesACounter)
{
    set("total", "0");
    auto &asking = useHandler<AskingHandler>();
    asking.begin();
    EXPECT_FALSE(asking.downloadRequest());
    EXPECT_EQ(asking.calls(), clientBegin + QStringList("log error"));
}

TEST_F(DownloadQuestions, OfTheClientAreRepeatedOneByOneForTheDump)
{
    ParamMap params;
    ASSERT_TRUE(handler().getParams(params));
    params.remove("appVersion");
    auto &asking = useHandler<AskingHandler>();
    ASSERT_TRUE(asking.clearParam());
    ASSERT_TRUE(asking.setParams(params));
    asking.begin();
    EXPECT_FALSE(asking.downloadRequest());
    EXPECT_EQ(
        asking.calls(),
        clientBegin
            + QStringList({clientKeys, "log error", "operator []", "fileName []", "srcPath []", "rootPath []",
                           "userName []", "appKey []", "appVersion []", "bVerify []", "log error"}));
}

TEST_F(DownloadQuestions, TheClientsClosingMessageNamesTheFileThatTheTaskBeganWith)
{
    auto &staged = useHandler<StagedHandler>();
    staged.afterRecv = [&](int) { EXPECT_TRUE(staged.setParam("fileName", "other")); };
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(peer.sendBytes("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
}

class DownloadServerQuestions : public DownloadServerTest
{
protected:
    /// A handler that has been told all about the task.
    AskingHandler &handlerFor(const ParamMap &changes)
    {
        auto &asking = useHandler<AskingHandler>();
        EXPECT_TRUE(asking.setParams(taskFor(changes)));
        asking.begin();
        return asking;
    }
};

const QStringList serverBegin{
    "serverSocket [-1]",     "fileName []", "mountPath []",  "srcPath []",      "rootPath []",
    "userName []",           "appKey []",   "appVersion []", "bVerify [false]", "offset [-1]",
    "set transferBeginSize", "mtime [-1]",  "appPath []"};

TEST_F(DownloadServerQuestions, ComeInOneOrder)
{
    offer("abc");
    auto &asking = handlerFor({{"bVerify", "md5"}, {"offset", "4"}});
    const Background task([&] { return asking.downloadRespond(); });
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    ASSERT_TRUE(peer.sendMap(MessageKind::FileVerifyResult, {{"verifyResult", "true"}}));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.wait(patience), true);
    EXPECT_EQ(asking.calls(),
              serverBegin
                  + QStringList({"log info", "log warning", "verifyValue []", "value by md5", "set path",
                                 "set fileSize", "send 6", "set beginTime", "set transferEndSize",
                                 "receive 7", "receive 8"}));
}

TEST_F(DownloadServerQuestions, DoNotConcernTheClientsFileWithoutVerification)
{
    auto &asking = handlerFor({});
    const Background task([&] { return asking.downloadRespond(); });
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(task.wait(patience), false) << "there is no such file";
    EXPECT_EQ(asking.calls(),
              serverBegin + QStringList({"log info", "set path", "set fileSize", "send 6", "log error"}));
}

TEST_F(DownloadServerQuestions, AllComeBeforeAFailure)
{
    auto &asking = handlerFor({{"appKey", "unknown"}});
    EXPECT_FALSE(asking.downloadRespond());
    EXPECT_EQ(asking.calls(), serverBegin + QStringList("log error"));
}

} // namespace
