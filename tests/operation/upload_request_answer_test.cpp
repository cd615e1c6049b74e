#include "tests/operation/upload_request_test.h"

// What an uploading client makes of the server's answer.

using namespace VESK;
using namespace VESK::Test;

namespace
{

TEST_F(UploadRequest, ReportsThatNoAnswerCame)
{
    writeFile("text");
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{error("recv TaskParamAck failed.")});
    EXPECT_EQ(done, untouched);
    EXPECT_EQ(param("transferBeginSize"), "");
}

TEST_F(UploadRequest, ReportsAnAnswerOfAnotherKind)
{
    writeFile("text");
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, goOn(0)));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{error("recv TaskParamAck failed.")});
}

TEST_F(UploadRequest, EveryAnswerButTrueIsARefusal)
{
    writeFile("text");
    for (const QString word : {"True", "false", "", "true ", "1"}) {
        SCOPED_TRACE(word.toStdString());
        useHandler<VeskHandler2_0_0>();
        handler().setParamInner("_errorStr", "earlier");
        const RunningTask task = start();
        answer({{"ackRespond", word}, {"bTransfer", "false"}, {"errorType", "FileLocked"}, {"offset", "3"}});
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(), QStringList{error("TaskParam Nak.")});
        EXPECT_EQ(handler().getLastError(), "FileLocked");
        EXPECT_EQ(done, 3) << "the offset is taken before the verdict";
        EXPECT_EQ(param("transferBeginSize"), "3");
        EXPECT_EQ(param("transferEndSize"), "");
    }
}

TEST_F(UploadRequest, ARefusalWithoutAReasonForgetsTheEarlierError)
{
    writeFile("text");
    handler().setParamInner("_errorStr", "earlier");
    const RunningTask task = start();
    answer({});
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{error("TaskParam Nak.")});
    EXPECT_EQ(handler().getLastError(), "");
    EXPECT_EQ(done, -1) << "no offset reads as -1";
    EXPECT_EQ(param("transferBeginSize"), "-1");
}

TEST_F(UploadRequest, AnAnswerThatIsNoMapIsARefusal)
{
    writeFile("text");
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.send(number(MessageKind::TaskParamAck), "ackRespond=true"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{error("TaskParam Nak.")});
}

TEST_F(UploadRequest, ASecondPassSucceedsWithoutData)
{
    writeFile("text");
    set("bVerify", "md5");
    for (const QString offset : {"4", "-9", "99"}) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        answer({{"ackRespond", "true"}, {"bTransfer", "false"}, {"offset", offset}});
        EXPECT_EQ(task.result(), true);
        EXPECT_EQ(logged(), QStringList{line("info", "file " + path() + " second pass.")});
        EXPECT_EQ(done, offset.toLongLong());
        EXPECT_EQ(total, 4);
        EXPECT_EQ(param("transferBeginSize"), offset);
        EXPECT_EQ(param("transferEndSize"), "");
        EXPECT_EQ(param("beginTime"), "") << "the file was not opened";
        EXPECT_NE(param("endTime"), "");
    }
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, RefusesAnOffsetOutsideTheFile)
{
    writeFile("text");
    struct Case {
        ParamMap ack;
        QString shown;
    };
    const Case cases[] = {
        {{{"ackRespond", "true"}}, "-1"},
        {{{"ackRespond", "true"}, {"offset", "-5"}}, "-5"},
        {{{"ackRespond", "true"}, {"offset", "5"}}, "5"},
        {{{"ackRespond", "true"}, {"offset", "9223372036854775807"}}, "9223372036854775807"},
    };
    for (const Case &entry : cases) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        answer(entry.ack);
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(), QStringList{error("get offset[" + entry.shown + "] fileSize[4] failed.")});
        EXPECT_EQ(done, entry.shown.toLongLong());
        EXPECT_EQ(param("transferBeginSize"), entry.shown);
        EXPECT_EQ(param("beginTime"), "");
    }
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, AnOffsetThatIsNoNumberReadsAsZero)
{
    writeFile("text");
    const RunningTask task = start();
    answer({{"ackRespond", "true"}, {"offset", "18446744073709551616"}});
    EXPECT_EQ(peer.recvBytes(4), "text");
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(param("transferBeginSize"), "0");
}

} // namespace
