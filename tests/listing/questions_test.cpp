#include "tests/operation/support/asking_handler.h"
#include "tests/operation/support/operation_test.h"

// What listings and the creation of directories ask their base for, and in which order: derived handlers
// answer, and count on it.

using namespace VESK;
using namespace VESK::Test;

namespace
{

class ServerQuestions : public ServerTest
{
protected:
    /// A handler that has been told all about the task.
    AskingHandler &handlerFor(const QString &operation, const ParamMap &more)
    {
        auto &asking = useHandler<AskingHandler>();
        EXPECT_TRUE(asking.setParams(taskParam(operation)));
        EXPECT_TRUE(asking.setParams(more));
        asking.begin();
        return asking;
    }

    void expectAcceptance()
    {
        EXPECT_EQ(peer.recvMap(MessageKind::TaskParamAck), (ParamMap{{"ackRespond", "true"}}));
    }
};

TEST_F(ServerQuestions, OfADirectorysCreationComeInOneOrder)
{
    auto &asking = handlerFor("createDir", {{"destPath", "a/b"}});
    const Background task([&] { return asking.createDirRespond(); });
    expectAcceptance();
    EXPECT_EQ(task.wait(patience), true);
    EXPECT_EQ(asking.calls(),
              (QStringList{"mountPath []", "destPath []", "rootPath []", "userName []", "appKey []",
                           "appVersion []", "dirMod []", "appPath []", "log info", "send 6"}));
}

TEST_F(ServerQuestions, OfADirectorysCreationAllComeBeforeAFailure)
{
    auto &asking = handlerFor("createDir", {{"appKey", "unknown"}});
    EXPECT_FALSE(asking.createDirRespond());
    EXPECT_EQ(asking.calls(),
              (QStringList{"mountPath []", "destPath []", "rootPath []", "userName []", "appKey []",
                           "appVersion []", "dirMod []", "appPath []", "log error"}));
}

TEST_F(ServerQuestions, OfAListingComeInOneOrder)
{
    ASSERT_TRUE(dir.write(stored("d/file"), "x"));
    auto &asking = handlerFor("list", {{"srcPath", "d"}});
    const Background task([&] { return asking.listRespond(); });
    expectAcceptance();
    EXPECT_EQ(peer.recvMap(MessageKind::ListContent), (ParamMap{{"/file", "file"}, {"bLast", "true"}}));
    EXPECT_EQ(task.wait(patience), true);
    EXPECT_EQ(asking.calls(),
              (QStringList{"mountPath []", "srcPath []", "rootPath []", "userName []", "appKey []",
                           "appVersion []", "appPath []", "log info", "send 6", "send 9"}));
}

class ClientQuestions : public ClientTest
{
protected:
    ClientQuestions()
        : ClientTest("list")
    {
    }
};

TEST_F(ClientQuestions, OfAListingAreOneForAllKeys)
{
    auto &asking = useHandler<AskingHandler>();
    asking.begin();
    const Background task([&] { return asking.listRequest(); });
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}}));
    ASSERT_TRUE(peer.sendMap(MessageKind::ListContent, {{"bLast", "true"}}));
    EXPECT_EQ(task.wait(patience), true);
    EXPECT_EQ(asking.calls(),
              (QStringList{"all of operator srcPath rootPath userName appKey appVersion", "send 5",
                           "receive 6", "receive 9"}));
}

TEST_F(ClientQuestions, OfADirectorysCreationAreOneForAllKeys)
{
    auto &asking = useHandler<AskingHandler>();
    asking.begin();
    const Background task([&] { return asking.createDirRequest(); });
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "false"}}));
    EXPECT_EQ(task.wait(patience), false);
    EXPECT_EQ(asking.calls(),
              (QStringList{"all of operator destPath rootPath userName appKey appVersion", "send 5",
                           "receive 6", "log error", "set _errorStr"}));
}

TEST_F(ClientQuestions, AreAskedOneByOneForTheDump)
{
    auto &asking = useHandler<AskingHandler>();
    EXPECT_TRUE(asking.clearParam());
    asking.begin();
    EXPECT_FALSE(asking.createDirRequest());
    EXPECT_EQ(asking.calls(),
              (QStringList{"all of operator destPath rootPath userName appKey appVersion", "log error",
                           "operator []", "destPath []", "rootPath []", "userName []", "appKey []",
                           "appVersion []", "log error"}));
}

} // namespace
