#include "tests/download/support/download_client.h"

#include "vesk_base/verify_value.h"

#include <QtCore/QFile>

using namespace VESK;
using namespace VESK::Test;

namespace
{

using DownloadHandshake = DownloadClientTest;

const ParamMap refusal{{"ackRespond", "false"}, {"errorType", "Busy"}};

ParamMap plainParams()
{
    return {{"operator", "download"}, {"fileName", "file.bin"}, {"srcPath", "a/b"},
            {"rootPath", "root"},     {"userName", "user"},     {"appKey", "app"},
            {"appVersion", "1.0"},    {"bVerify", "false"},     {"offset", "0"}};
}

TEST_F(DownloadHandshake, SendsItsEightKeysAndTheOffset)
{
    expectFailure(refusal, {macLine(), "error|downloadRequest: TaskParam Nak."});
    EXPECT_EQ(asked, plainParams());
    EXPECT_EQ(handler().getLastError(), "Busy");
    EXPECT_EQ(param("tmpFilePath"), temporary());
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(param("transferEndSize"), "");
    EXPECT_EQ(param("mac"), "00:11:22:33:44:55");
    EXPECT_EQ(total, untouched);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(dir.entries(), QStringList());
}

TEST_F(DownloadHandshake, SendsNeitherValueNorTimeWithoutALocalFile)
{
    set("bVerify", "md5");
    expectFailure(refusal, {macLine(), "error|downloadRequest: TaskParam Nak."});
    ParamMap expected = plainParams();
    expected.insert("bVerify", "md5");
    EXPECT_EQ(asked, expected);
}

TEST_F(DownloadHandshake, DescribesTheLocalFileWithVerification)
{
    for (const QString mode : {"md5", "fileattr", "", "anything"}) {
        SCOPED_TRACE(mode.toStdString());
        set("bVerify", mode);
        ASSERT_TRUE(dir.write("in/file.bin", "content"));
        handler().UpdateMtime(local(), "test", 1000000007);
        const RunningTask task = start();
        answer(refusal);
        EXPECT_EQ(task.result(), false);
        ParamMap expected = plainParams();
        expected.insert("bVerify", mode);
        expected.insert("verifyValue", fileVerifyValue(local(), mode));
        expected.insert("mtime", "1000000007");
        EXPECT_EQ(asked, expected);
        EXPECT_EQ(dir.read("in/file.bin"), QByteArray("content"));
    }
}

TEST_F(DownloadHandshake, DoesNotDescribeTheLocalFileWithoutVerification)
{
    set("bReplace", "true");
    ASSERT_TRUE(dir.write("in/file.bin", "content"));
    expectFailure(refusal, {macLine(), "error|downloadRequest: TaskParam Nak."});
    EXPECT_EQ(asked, plainParams());
}

TEST_F(DownloadHandshake, ReportsTheSizeOfTheTemporaryFile)
{
    ASSERT_TRUE(dir.write(temporaryName(), pattern(4321)));
    expectFailure(refusal, {macLine(), "error|downloadRequest: TaskParam Nak."});
    EXPECT_EQ(asked.value("offset"), "4321");
    EXPECT_EQ(param("transferBeginSize"), "4321");
    EXPECT_EQ(done, 4321);
    EXPECT_EQ(dir.read(temporaryName()), pattern(4321)) << "a refusal leaves it for later";
}

TEST_F(DownloadHandshake, ReportsNothingOfTheTemporaryFileWithReplace)
{
    set("bReplace", "true");
    ASSERT_TRUE(dir.write(temporaryName(), pattern(4321)));
    expectFailure(refusal, {macLine(), "error|downloadRequest: TaskParam Nak."});
    EXPECT_EQ(asked.value("offset"), "0");
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(done, 0);
    EXPECT_EQ(dir.read(temporaryName()), pattern(4321));
}

TEST_F(DownloadHandshake, KeepsAnExistingFileWithoutAWordToTheServer)
{
    for (const QString replace : {"false", "", "True", "yes"}) {
        SCOPED_TRACE(replace.toStdString());
        total = untouched;
        set("bReplace", replace);
        ASSERT_TRUE(dir.write("in/file.bin", "content"));
        EXPECT_TRUE(handler().process());
        EXPECT_EQ(total, 7);
        EXPECT_EQ(done, untouched);
        EXPECT_EQ(param("tmpFilePath"), "");
        EXPECT_EQ(param("transferBeginSize"), "");
        EXPECT_EQ(logged(), QStringList());
        EXPECT_FALSE(handler().hasSent(MessageKind::TaskParam));
    }
    EXPECT_TRUE(nothingElseCame(handler(), peer));
    EXPECT_EQ(dir.entries(), (QStringList{"in/", "in/file.bin"}));
}

TEST_F(DownloadHandshake, NeedsBothCounters)
{
    for (const QString address : {"0", "", "garbage", "-1x"}) {
        set("total", address);
        EXPECT_FALSE(handler().process());
        EXPECT_EQ(logged().last(), "error|downloadRequest: get total failed.");
    }
    set("total", QString::number(reinterpret_cast<std::uintptr_t>(&total)));
    set("offset", "0");
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged().size(), 5);
    EXPECT_EQ(logged().last(), "error|downloadRequest: get offset failed.");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadHandshake, DumpsItsParametersWhenTheyCannotBeHad)
{
    useHandler<TightLippedHandler>();
    set("fileName", "%1 [%2]");
    EXPECT_FALSE(handler().process());
    const QStringList expected{
        "error|downloadRequest: getParams failed.",
        "error|downloadRequest: params ====\noperator:[download] fileName:[%1 [%2]] srcPath:[a/b] "
        "rootPath:[root] userName:[user] appKey:[app] appVersion:[1.0] bVerify:[false] "};
    EXPECT_EQ(logged(), expected);
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadHandshake, ReportsALocalFileWithoutAValue)
{
    set("bVerify", "md5");
    ASSERT_TRUE(dir.mkdir("in/file.bin"));
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{"error|downloadRequest: calc FileVerifyValue failed."});
    EXPECT_EQ(param("tmpFilePath"), "");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadHandshake, ReportsATemporaryFileThatAnotherTaskIsWriting)
{
    const RunningTask first = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));

    VeskHandler2_0_0 second;
    ParamMap params;
    handler().getParams(params);
    params.remove("tmpFilePath");
    ASSERT_TRUE(second.setParams(params));
    EXPECT_FALSE(second.process());
    EXPECT_EQ(
        log.lines(&second),
        (QStringList{macLine(), "error|downloadRequest: setParam tmpFilePath " + temporary() + " failed."}));
    EXPECT_EQ(second.getParam("tmpFilePath"), "");

    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, refusal));
    EXPECT_EQ(first.result(), false);
}

TEST_F(DownloadHandshake, ReportsATaskParamThatCannotBeSent)
{
    closeHandlerSocket();
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), (QStringList{macLine(), "error|downloadRequest: send TaskParam failed."}));
}

TEST_F(DownloadHandshake, ReportsAServerThatLeavesAndKeepsTheTemporaryFile)
{
    ASSERT_TRUE(dir.write(temporaryName(), pattern(10)));
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), (QStringList{macLine(), "error|downloadRequest: recv TaskParamAck failed."}));
    EXPECT_EQ(dir.read(temporaryName()), pattern(10));
}

TEST_F(DownloadHandshake, TakesEverythingButTheExactWordAsARefusal)
{
    for (const QString word : {"", "True", "true ", "1"}) {
        ASSERT_TRUE(dir.write(temporaryName(), pattern(10)));
        EXPECT_TRUE(handler().setParamInner("_errorStr", "earlier"));
        const RunningTask task = start();
        answer(offer(content, {{"ackRespond", word}}));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged().last(), "error|downloadRequest: TaskParam Nak.");
        EXPECT_EQ(handler().getLastError(), "");
        EXPECT_EQ(total, untouched);
        EXPECT_TRUE(dir.exists(temporaryName()));
    }
}

TEST_F(DownloadHandshake, ARefusalForAMissingFileKeepsTheTemporaryFile)
{
    ASSERT_TRUE(dir.write(temporaryName(), pattern(10)));
    expectFailure({{"ackRespond", "false"}, {"errorType", "FileNotExist"}, {"errorName", "/x"}},
                  {macLine(), "error|downloadRequest: TaskParam Nak."});
    EXPECT_EQ(handler().getLastError(), "FileNotExist");
    EXPECT_EQ(dir.read(temporaryName()), pattern(10));
}

TEST_F(DownloadHandshake, AnAcceptanceThatNamesAMissingFileRemovesTheTemporaryFile)
{
    ASSERT_TRUE(dir.write(temporaryName(), pattern(10)));
    EXPECT_TRUE(handler().setParamInner("_errorStr", "earlier"));
    expectFailure(offer(content, {{"errorType", "FileNotExist"}, {"errorName", "/x %1 %2\nerror|a"}}),
                  {macLine(), "error|downloadRequest: server file [/x %1 %2\nerror|a] not existed ."});
    EXPECT_EQ(handler().getLastError(), "earlier");
    EXPECT_EQ(total, untouched);
    EXPECT_FALSE(dir.exists(temporaryName()));
}

TEST_F(DownloadHandshake, AMissingFileWithoutATemporaryFileIsTheSame)
{
    expectFailure(offer(content, {{"errorType", "FileNotExist"}}),
                  {macLine(), "error|downloadRequest: server file [] not existed ."});
    EXPECT_EQ(dir.entries(), QStringList());
}

TEST_F(DownloadHandshake, EveryOtherErrorTypeInAnAcceptanceIsIgnored)
{
    const RunningTask task = start();
    answer(offer("", {{"errorType", "filenotexist"}, {"errorName", "/x"}}));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(DownloadHandshake, AMalformedAnswerIsARefusal)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.send(number(MessageKind::TaskParamAck), "garbage"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), (QStringList{macLine(), "error|downloadRequest: TaskParam Nak."}));
}

TEST_F(DownloadHandshake, LogsADeviceTextOfAnyKind)
{
    set("mac", "%1\n%2");
    const RunningTask task = start();
    answer(refusal);
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged().first(), "info|downloadRequest: local mac %1\n%2");
    EXPECT_EQ(param("mac"), "%1\n%2");
}

} // namespace
