#include "tests/operation/support/operation_test.h"

#include <QtCore/QFile>

// Which parameters the handler asks its base for, when and with which defaults: a derived class sees every
// question, and may have an answer of its own.

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// Writes down every question and, between them, what else it does. A default is written behind a "|".
class AskedHandler : public VeskHandler2_0_0
{
public:
    /// Forgets the questions of the test itself.
    void begin() { m_calls.clear(); }
    QStringList calls() const { return m_calls; }

    QString getParam(const QString &key, const QString &defaultValue) override
    {
        m_calls << key + (defaultValue.isEmpty() ? "" : "|" + defaultValue);
        return VeskHandler2_0_0::getParam(key, defaultValue);
    }
    QString getParamInner(const QString &key, const QString &defaultValue) override
    {
        m_calls << key + (defaultValue.isEmpty() ? "" : "|" + defaultValue);
        return VeskHandler2_0_0::getParamInner(key, defaultValue);
    }
    bool getParams(ParamMap &map) override
    {
        m_calls << "everything";
        return VeskHandler2_0_0::getParams(map);
    }
    bool getParams(const QStringList &keys, ParamMap &map) override
    {
        m_calls << "[" + keys.join(' ') + "]";
        return map.isEmpty() && VeskHandler2_0_0::getParams(keys, map);
    }
    bool setParamInner(const QString &key, const QString &value) override
    {
        m_calls << "(" + key + ")";
        return VeskHandler2_0_0::setParamInner(key, value);
    }
    bool send(int kind, const QString &text) override
    {
        m_calls << "(send " + QString::number(kind) + ")";
        return VeskHandler2_0_0::send(kind, text);
    }
    bool recv(int kind, QString &text) override
    {
        m_calls << "(receive " + QString::number(kind) + ")";
        return VeskHandler2_0_0::recv(kind, text);
    }
    void log(const QString &level, const QString &message) override
    {
        m_calls << "(" + level + ")";
        VeskHandler2_0_0::log(level, message);
    }

private:
    QStringList m_calls;
};

const QStringList ofTheClient{"endPoint", "operator",      "clientSocket|-1", "fileName",
                              "srcPath",  "bVerify|false", "total|0",         "offset|0"};
const QString offered =
    "[operator fileName destPath rootPath userName appKey appVersion bVerify bReplace mac]";

class ClientsQuestions : public ClientTest
{
protected:
    ClientsQuestions()
        : ClientTest("upload")
    {
        EXPECT_TRUE(dir.write("local/file.bin", "text"));
    }

    /// A new handler; its own parameters, set by the test, are no questions.
    AskedHandler &asked()
    {
        AskedHandler &handler = useHandler<AskedHandler>();
        handler.begin();
        return handler;
    }
};

TEST_F(ClientsQuestions, AreAskedBeforeAnythingElseAndOnce)
{
    const AskedHandler &handler = asked();
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}, {"offset", "0"}}));
    EXPECT_EQ(peer.recvBytes(4), "text");
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(handler.calls(),
              ofTheClient + QStringList({offered, "(send 5)", "(receive 6)", "(receive 8)"}));
}

TEST_F(ClientsQuestions, EndAtAMissingAddress)
{
    for (const QString key : {"total", "offset"}) {
        set("total", "1");
        set(key, "");
        const AskedHandler &handler = asked();
        EXPECT_FALSE(this->handler().process());
        QStringList expected = ofTheClient;
        if (key == "total")
            expected.removeLast();
        EXPECT_EQ(handler.calls(), expected << "(error)") << key.toStdString();
    }
}

TEST_F(ClientsQuestions, AreRepeatedForTheDumpBehindItsFirstLine)
{
    ParamMap params;
    ASSERT_TRUE(handler().getParams(params));
    params.remove("mac");
    AskedHandler &asked = useHandler<AskedHandler>();
    ASSERT_TRUE(asked.clearParam());
    ASSERT_TRUE(asked.setParams(params));
    asked.begin();
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(
        asked.calls(),
        ofTheClient
            + QStringList({offered, "(error)", "operator", "fileName", "destPath", "rootPath", "userName",
                           "appKey", "appVersion", "bVerify", "bReplace", "mac", "(error)"}));
}

TEST_F(ClientsQuestions, OfARefusedTaskNoteTheReasonAfterTheLine)
{
    const AskedHandler &handler = asked();
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"errorType", "Busy"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler.calls(),
              ofTheClient + QStringList({offered, "(send 5)", "(receive 6)", "(error)", "(_errorStr)"}));
}

TEST_F(ClientsQuestions, OfAStopAreTheEndPointTheOperatorAndTheSocket)
{
    AskedHandler &handler = asked();
    EXPECT_TRUE(handler.pause());
    EXPECT_EQ(handler.calls(), QStringList({"endPoint", "operator", "clientSocket|-1"}));
    handler.begin();
    EXPECT_TRUE(handler.cancel());
    EXPECT_EQ(handler.calls(), QStringList({"endPoint", "operator", "clientSocket|-1"}));
}

TEST_F(ClientsQuestions, ForTheKeyAndTheLastErrorAreTheInnerOnes)
{
    AskedHandler &handler = asked();
    EXPECT_EQ(handler.getKey(), "VESK-2.0.0");
    EXPECT_EQ(handler.calls(), QStringList({"_protocol", "_version"}));
    handler.begin();
    EXPECT_EQ(handler.getLastError(), "");
    EXPECT_EQ(handler.calls(), QStringList{"_errorStr"});
}

TEST_F(ClientsQuestions, OnlyACancelAsksForTheTemporaryFile)
{
    set("operator", "none");
    for (const QString word : {"", "pause", "cancel"}) {
        const AskedHandler &handler = asked();
        this->handler().setStatus(word);
        EXPECT_FALSE(this->handler().process());
        QStringList expected{"endPoint", "operator", "(error)"};
        if (word != "")
            expected << "(_errorStr)";
        if (word == "cancel")
            expected << "tmpFilePath";
        EXPECT_EQ(handler.calls(), expected) << word.toStdString();
    }
}

TEST_F(ClientsQuestions, AnUnknownEndPointIsTheOnlyOneAskedFor)
{
    set("endPoint", "middle");
    const AskedHandler &handler = asked();
    EXPECT_FALSE(this->handler().process());
    EXPECT_EQ(handler.calls(), QStringList({"endPoint", "(error)"}));
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
        QStringList keys{"endPoint", "(receive 5)",   "operator", "serverSocket|-1", "mountPath",  "fileName",
                         "destPath", "rootPath",      "userName", "appKey",          "appVersion", "fileMod",
                         "dirMod",   "bVerify|false", "bReplace", "fileSize|-1",     "mtime|-1"};
        if (verifyMode != "false")
            keys << "verifyValue";
        return keys << "appPath";
    }
};

TEST_F(ServersQuestions, AreAskedBeforeAnythingElseAndOnce)
{
    for (const QString verifyMode : {"false", "md5", ""}) {
        AskedHandler &handler = useHandler<AskedHandler>();
        handler.begin();
        const RunningTask task = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer(verifyMode)));
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
        ASSERT_TRUE(peer.sendBytes("text"));
        QStringList expected = upToTheTable(verifyMode) << "(info)"
                                                        << "mac"
                                                        << "(info)"
                                                        << "(send 6)";
        if (verifyMode == "false") {
            EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
            expected << "(send 8)";
        } else {
            EXPECT_TRUE(peer.recvMap(MessageKind::FileVerifyResult));
            expected << "(send 7)"
                     << "(error)";
        }
        EXPECT_EQ(task.result(), verifyMode == "false");
        EXPECT_EQ(handler.calls(), expected) << verifyMode.toStdString();
    }
}

TEST_F(ServersQuestions, EndAtAnUnknownApplication)
{
    set("appPath", "other:area");
    AskedHandler &handler = useHandler<AskedHandler>();
    handler.begin();
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer("false")));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler.calls(), upToTheTable("false") << "(error)");
}

TEST_F(ServersQuestions, AboutAnEndedExchangeAreTheReturnParameterAlone)
{
    AskedHandler &handler = useHandler<AskedHandler>();
    handler.begin();
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, {{"operator", "return"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler.calls(), QStringList({"endPoint", "(receive 5)", "operator", "(_errorStr)", "return"}));
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
