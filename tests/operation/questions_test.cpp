#include "tests/operation/support/asking_handler.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QFile>

// Which parameters the handler asks its base for, when and with which defaults: a derived class sees every
// question, and may have an answer of its own.

using namespace VESK;
using namespace VESK::Test;

namespace
{

const QStringList ofTheClient{"endPoint []", "operator []",     "clientSocket [-1]", "fileName []",
                              "srcPath []",  "bVerify [false]", "total [0]",         "offset [0]"};
const QString offered =
    "all of operator fileName destPath rootPath userName appKey appVersion bVerify bReplace mac";

class ClientsQuestions : public ClientTest
{
protected:
    ClientsQuestions()
        : ClientTest("upload")
    {
        EXPECT_TRUE(dir.write("local/file.bin", "text"));
    }

    /// A new handler; its own parameters, set by the test, are no questions.
    AskingHandler &asked()
    {
        AskingHandler &handler = useHandler<AskingHandler>();
        handler.begin();
        return handler;
    }
};

TEST_F(ClientsQuestions, AreAskedBeforeAnythingElseAndOnce)
{
    const AskingHandler &handler = asked();
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}, {"offset", "0"}}));
    EXPECT_EQ(peer.recvBytes(4), "text");
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(handler.calls(),
              ofTheClient
                  + QStringList({offered, "send 5", "receive 6", "set transferBeginSize", "set beginTime",
                                 "set transferEndSize", "receive 8", "set endTime"}));
}

TEST_F(ClientsQuestions, EndAtAMissingAddress)
{
    for (const QString key : {"total", "offset"}) {
        set("total", "1");
        set(key, "");
        const AskingHandler &handler = asked();
        EXPECT_FALSE(this->handler().process());
        QStringList expected = ofTheClient;
        if (key == "total")
            expected.removeLast();
        EXPECT_EQ(handler.calls(),
                  expected << "log error"
                           << "set endTime")
            << key.toStdString();
    }
}

TEST_F(ClientsQuestions, AreRepeatedForTheDumpBehindItsFirstLine)
{
    ParamMap params;
    ASSERT_TRUE(handler().getParams(params));
    params.remove("mac");
    AskingHandler &asked = useHandler<AskingHandler>();
    ASSERT_TRUE(asked.clearParam());
    ASSERT_TRUE(asked.setParams(params));
    asked.begin();
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(asked.calls(),
              ofTheClient
                  + QStringList({offered, "log error", "operator []", "fileName []", "destPath []",
                                 "rootPath []", "userName []", "appKey []", "appVersion []", "bVerify []",
                                 "bReplace []", "mac []", "log error", "set endTime"}));
}

TEST_F(ClientsQuestions, OfARefusedTaskNoteTheReasonAfterTheLine)
{
    const AskingHandler &handler = asked();
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"errorType", "Busy"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler.calls(),
              ofTheClient
                  + QStringList({offered, "send 5", "receive 6", "set transferBeginSize", "log error",
                                 "set _errorStr", "set endTime"}));
}

TEST_F(ClientsQuestions, OfAStopAreTheEndPointTheOperatorAndTheSocket)
{
    AskingHandler &handler = asked();
    EXPECT_TRUE(handler.pause());
    EXPECT_EQ(handler.calls(), QStringList({"endPoint []", "operator []", "clientSocket [-1]"}));
    handler.begin();
    EXPECT_TRUE(handler.cancel());
    EXPECT_EQ(handler.calls(), QStringList({"endPoint []", "operator []", "clientSocket [-1]"}));
}

TEST_F(ClientsQuestions, ForTheKeyAndTheLastErrorAreTheInnerOnes)
{
    AskingHandler &handler = asked();
    EXPECT_EQ(handler.getKey(), "VESK-2.0.0");
    EXPECT_EQ(handler.calls(), QStringList({"_protocol []", "_version []"}));
    handler.begin();
    EXPECT_EQ(handler.getLastError(), "");
    EXPECT_EQ(handler.calls(), QStringList{"_errorStr []"});
}

TEST_F(ClientsQuestions, OnlyACancelAsksForTheTemporaryFile)
{
    set("operator", "none");
    for (const QString word : {"", "pause", "cancel"}) {
        const AskingHandler &handler = asked();
        this->handler().setStatus(word);
        EXPECT_FALSE(this->handler().process());
        QStringList expected{"endPoint []", "operator []", "log error", "set endTime"};
        if (word != "")
            expected << "set _errorStr";
        if (word == "cancel")
            expected << "tmpFilePath []";
        EXPECT_EQ(handler.calls(), expected) << word.toStdString();
    }
}

TEST_F(ClientsQuestions, AnUnknownEndPointIsTheOnlyOneAskedFor)
{
    set("endPoint", "middle");
    const AskingHandler &handler = asked();
    EXPECT_FALSE(this->handler().process());
    EXPECT_EQ(handler.calls(), QStringList({"endPoint []", "log error"}));
}

class ServersQuestions : public ServerTest
{
protected:
    ParamMap offer(const QString &verifyMode) const
    {
        ParamMap map = taskParam("upload");
        map.insert("fileName", "file.bin");
        map.insert("bVerify", verifyMode);
        map.insert("fileSize", "4");
        return map;
    }

    /// Up to the table of applications, which is asked for last.
    static QStringList upToTheTable(const QString &verifyMode)
    {
        QStringList keys{"endPoint []",   "receive 5",   "operator []", "serverSocket [-1]", "mountPath []",
                         "fileName []",   "destPath []", "rootPath []", "userName []",       "appKey []",
                         "appVersion []", "fileMod []",  "dirMod []",   "bVerify [false]",   "bReplace []",
                         "fileSize [-1]", "mtime [-1]"};
        if (verifyMode != "false")
            keys << "verifyValue []";
        return keys << "appPath []";
    }
};

TEST_F(ServersQuestions, AreAskedBeforeAnythingElseAndOnce)
{
    for (const QString verifyMode : {"false", "md5", ""}) {
        AskingHandler &handler = useHandler<AskingHandler>();
        handler.begin();
        const RunningTask task = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer(verifyMode)));
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
        ASSERT_TRUE(peer.sendBytes("text"));
        const bool isVerified = verifyMode != "false"; // then the first round's file is a target to look at
        const QString value = "value by " + verifyMode;
        QStringList expected = upToTheTable(verifyMode) << "log info";
        if (isVerified)
            expected << value;
        expected += QStringList{"set path",
                                "mac []",
                                "log info",
                                "set mac",
                                "temporary path",
                                "set tmpFilePath",
                                "set transferBeginSize",
                                "send 6",
                                "set beginTime",
                                "set transferEndSize"};
        if (isVerified) {
            EXPECT_TRUE(peer.recvMap(MessageKind::FileVerifyResult));
            expected << value << "send 7"
                     << "log error";
        } else {
            EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
            expected << "send 8";
        }
        expected << "set respondStatus"
                 << "set endTime";
        EXPECT_EQ(task.result(), !isVerified);
        EXPECT_EQ(handler.calls(), expected) << verifyMode.toStdString();
    }
}

TEST_F(ServersQuestions, EndAtAnUnknownApplication)
{
    set("appPath", "other:area");
    AskingHandler &handler = useHandler<AskingHandler>();
    handler.begin();
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer("false")));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler.calls(),
              upToTheTable("false") << "log error"
                                    << "set respondStatus"
                                    << "set endTime");
}

TEST_F(ServersQuestions, AboutAnEndedExchangeAreTheReturnParameterAlone)
{
    AskingHandler &handler = useHandler<AskingHandler>();
    handler.begin();
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, {{"operator", "return"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(
        handler.calls(),
        QStringList({"endPoint []", "receive 5", "operator []", "set _errorStr", "set return", "return []"}));
}

// What the host sets counts as it stood when the task began.
TEST_F(ServersQuestions, AreNotAskedAgainWhenTheAnswersChange)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer("false")));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    for (const char *key : {"fileMod", "dirMod", "mountPath", "fileName", "bVerify"})
        ASSERT_TRUE(handler().setParam(key, "0"));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(peer.recvMap(MessageKind::Closing), (ParamMap{{"fileName", "file.bin"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read(stored("file.bin")), "text");
    EXPECT_EQ(QFile::permissions(storedPath("file.bin")) & QFile::ReadOwner, QFile::ReadOwner);
}

} // namespace
