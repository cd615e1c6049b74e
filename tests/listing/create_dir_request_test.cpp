#include "tests/listing/support/staged_handler.h"
#include "tests/operation/support/operation_test.h"

using namespace VESK;
using namespace VESK::Test;

namespace
{

class CreateDirRequest : public ClientTest
{
protected:
    CreateDirRequest()
        : ClientTest("createDir")
    {
    }
};

TEST_F(CreateDirRequest, SendsItsSixKeysAndSucceedsOnAcceptance)
{
    set("dirMod", "700");
    const RunningTask task = start();
    const ParamMap expected{{"operator", "createDir"}, {"destPath", "in/box"}, {"rootPath", "root"},
                            {"userName", "user"},      {"appKey", "app"},      {"appVersion", "1.0"}};
    EXPECT_EQ(peer.recvMap(MessageKind::TaskParam), expected);
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList());
    EXPECT_NE(param("endTime"), "");
    EXPECT_EQ(handler().getLastError(), "");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(CreateDirRequest, IgnoresEverythingElseInAnAcceptance)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck,
                             {{"ackRespond", "true"}, {"errorType", "Broken"}, {"destPath", "/"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(param("destPath"), "in/box");
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(CreateDirRequest, TakesEverythingButTheExactWordAsARefusal)
{
    const ParamMap refusals[] = {
        {},
        {{"ackRespond", ""}},
        {{"ackRespond", "True"}},
        {{"ackRespond", "TRUE"}},
        {{"ackRespond", "true "}},
        {{"ackRespond", "1"}},
        {{"ackRespond", "false"}},
        {{"AckRespond", "true"}},
    };
    for (const ParamMap &refusal : refusals) {
        SCOPED_TRACE(testing::PrintToString(refusal));
        const int before = logged().size();
        const RunningTask task = start();
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, refusal));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged().mid(before), QStringList{"error|createDirRequest: TaskParam Nak."});
    }
}

TEST_F(CreateDirRequest, KeepsTheErrorTypeOfARefusal)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(
        peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "false"}, {"errorType", "No %1\nrights"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "No %1\nrights");
    EXPECT_EQ(logged(), QStringList{"error|createDirRequest: TaskParam Nak."});
}

TEST_F(CreateDirRequest, ARefusalWithoutAnErrorTypeEmptiesTheLastError)
{
    EXPECT_TRUE(handler().setParamInner("_errorStr", "earlier"));
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "false"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(CreateDirRequest, TakesAMalformedAnswerAsARefusal)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.send(number(MessageKind::TaskParamAck), "{\"ackRespond\":\"true\"}"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|createDirRequest: TaskParam Nak."});
}

TEST_F(CreateDirRequest, DumpsItsParametersWhenOneIsMissing)
{
    EXPECT_TRUE(handler().clearParam());
    set("endPoint", "client");
    set("clientSocket", QString::number(handlerSocket()));
    set("operator", "createDir");
    EXPECT_FALSE(handler().process());
    const QStringList expected{"error|createDirRequest: getParams failed.",
                               "error|createDirRequest: params ====\noperator:[createDir] destPath:[] "
                               "rootPath:[] userName:[] appKey:[] appVersion:[] "};
    EXPECT_EQ(logged(), expected);
    EXPECT_FALSE(handler().hasSent(MessageKind::TaskParam));
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(CreateDirRequest, DumpsValuesAsTheyStand)
{
    useHandler<TightLippedHandler>();
    set("destPath", "%1 [%2]");
    set("userName", "ünder\nlined");
    EXPECT_FALSE(handler().process());
    const QStringList expected{"error|createDirRequest: getParams failed.",
                               "error|createDirRequest: params ====\noperator:[createDir] destPath:[%1 [%2]] "
                               "rootPath:[root] userName:[ünder\nlined] appKey:[app] appVersion:[1.0] "};
    EXPECT_EQ(logged(), expected);
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(CreateDirRequest, ReportsATaskParamThatCannotBeSent)
{
    closeHandlerSocket();
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{"error|createDirRequest: send TaskParam failed."});
}

TEST_F(CreateDirRequest, ReportsAServerThatLeavesWithoutAnAnswer)
{
    EXPECT_TRUE(handler().setParamInner("_errorStr", "earlier"));
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|createDirRequest: recv TaskParamAck failed."});
    EXPECT_EQ(handler().getLastError(), "earlier");
}

TEST_F(CreateDirRequest, ReportsAnAnswerOfAnotherKind)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::ListContent, {{"ackRespond", "true"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|createDirRequest: recv TaskParamAck failed."});
}

TEST_F(CreateDirRequest, EndsSoonAfterAPauseWhileItWaits)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    EXPECT_TRUE(handler().pause());
    EXPECT_EQ(task.result(stopBetweenMessages), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(logged(), QStringList{"error|createDirRequest: recv TaskParamAck failed."});
}

} // namespace
