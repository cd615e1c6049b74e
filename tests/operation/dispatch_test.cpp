#include "tests/operation/support/operation_test.h"

#include "vesk_base/param_text.h"

#include <QtCore/QDateTime>

#include <stdexcept>

using namespace VESK;
using namespace VESK::Test;

namespace
{

class ClientDispatch : public ClientTest
{
protected:
    ClientDispatch()
        : ClientTest("upload")
    {
    }
};

class ServerDispatch : public ServerTest
{
};

/// A handler whose directory creation does what the test says, on either end.
class ActingHandler : public VeskHandler2_0_0
{
public:
    explicit ActingHandler(std::function<bool(ActingHandler &)> action)
        : m_action(std::move(action))
    {
    }

    bool createDirRequest() override { return m_action(*this); }
    bool createDirRespond() override { return m_action(*this); }

private:
    const std::function<bool(ActingHandler &)> m_action;
};

TEST_F(ClientDispatch, RefusesToRunWithoutAnEndPoint)
{
    set("endPoint", "");
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{"error|process: not found endPoint []."});
    EXPECT_EQ(param("endTime"), "");
    EXPECT_EQ(param("respondStatus"), "");
}

TEST_F(ClientDispatch, NamesAnUnknownEndPointAndLeavesTheStatusAlone)
{
    set("endPoint", "Server %1");
    handler().setStatus("pause");
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{"error|process: not found endPoint [Server %1]."});
    EXPECT_EQ(param("endTime"), "");
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(ClientDispatch, NamesAnUnknownOperator)
{
    for (const QString operation : {"", "Upload", "return", "createdir"}) {
        SCOPED_TRACE(operation.toStdString());
        const int before = logged().size();
        set("operator", operation);
        EXPECT_FALSE(handler().process());
        EXPECT_EQ(logged().mid(before),
                  QStringList{"error|request: not found operator [" + operation + "]."});
    }
    EXPECT_NE(param("endTime"), "");
    EXPECT_EQ(param("respondStatus"), "") << "it belongs to the server's end";
}

TEST_F(ServerDispatch, NamesAnUnknownOperator)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskParam("remove")));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|respond: not found operator [remove]."});
    EXPECT_EQ(param("respondStatus"), "failed");
    EXPECT_NE(param("endTime"), "");
}

TEST_F(ServerDispatch, ReportsThatNoTaskParamCame)
{
    const RunningTask task = start();
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|respond: recv TaskParam failed."});
    EXPECT_EQ(param("respondStatus"), "failed");
}

TEST_F(ServerDispatch, ReportsAMessageOfAnotherKindInPlaceOfTheTaskParam)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, taskParam("createDir")));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|respond: recv TaskParam failed."});
}

TEST_F(ServerDispatch, RefusesAMapThatTouchesTheHostsParameters)
{
    const RunningTask task = start();
    ParamMap hostile = taskParam("upload");
    hostile.insert("mountPath", "/");
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, hostile));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|respond: TaskParam setParams failed."});
    EXPECT_EQ(param("mountPath"), dir.path("mount"));
    EXPECT_EQ(param("operator"), "") << "a refused map is not merged in part";
    EXPECT_EQ(param("respondStatus"), "failed");
}

TEST_F(ServerDispatch, RefusesAMapWithAnInnerKey)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, {{"operator", "return"}, {"_version", "3"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|respond: TaskParam setParams failed."});
    EXPECT_EQ(handler().getKey(), "VESK-2.0.0");
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(ServerDispatch, ARefusalByTheHostsPolicyBecomesTheLastError)
{
    handler().setTaskPolicy(
        [](const ParamMap &map) { return map.value("userName") == "user" ? "NoRights" : ""; });
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskParam("upload")));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|respond: TaskParam setParams failed."});
    EXPECT_EQ(handler().getLastError(), "NoRights");
    EXPECT_EQ(param("respondStatus"), "failed");
    EXPECT_FALSE(handler().hasSent(MessageKind::TaskParamAck)) << "the answer is the host's";
}

TEST_F(ServerDispatch, ReadsATextThatIsNoMapAsAnEmptyOne)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.send(number(MessageKind::TaskParam), "{\"operator\":\"upload\"}"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|respond: not found operator []."});
}

TEST_F(ServerDispatch, EndsTheExchangeOnOperatorReturn)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, {{"operator", "return"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList());
    EXPECT_EQ(handler().getLastError(), "return");
    EXPECT_EQ(param("return"), "false");
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_EQ(param("endTime"), "");
}

TEST_F(ServerDispatch, AThrownReturnGivesTheValueOfTheReturnParameter)
{
    for (const QString value : {"true", "false", "", "True"}) {
        SCOPED_TRACE(value.toStdString());
        useHandler<ActingHandler>([&](ActingHandler &self) -> bool {
            EXPECT_TRUE(self.setParam("return", value));
            self.setStatus("cancel");
            throw QString("return");
        });
        const RunningTask task = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskParam("createDir")));
        EXPECT_EQ(task.result(), value == "true");
        EXPECT_EQ(param("endTime"), "");
        EXPECT_EQ(param("respondStatus"), "");
        EXPECT_EQ(handler().getLastError(), "") << "the status is not looked at";
    }
}

TEST_F(ClientDispatch, AThrownReturnWorksOnTheClientsEndToo)
{
    set("operator", "createDir");
    useHandler<ActingHandler>([&](ActingHandler &self) -> bool {
        EXPECT_TRUE(self.setParam("return", "true"));
        throw QString("return");
    });
    EXPECT_TRUE(handler().process());
    EXPECT_EQ(param("endTime"), "");
}

TEST_F(ClientDispatch, AThrownStatusFailsTheTaskAndRecordsItsEnd)
{
    set("operator", "createDir");
    useHandler<ActingHandler>([](ActingHandler &self) -> bool {
        self.setStatus("pause");
        throw QString("status");
    });
    EXPECT_FALSE(handler().process());
    EXPECT_NE(param("endTime"), "");
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(ClientDispatch, EveryOtherThrownTextFailsTheTaskAndRecordsItsEndToo)
{
    set("operator", "createDir");
    for (const QString text : {"status", "", "Return", "anything"}) {
        SCOPED_TRACE(text.toStdString());
        useHandler<ActingHandler>([&](ActingHandler &) -> bool { throw text; });
        EXPECT_FALSE(handler().process());
        EXPECT_NE(param("endTime"), "");
        EXPECT_EQ(handler().getLastError(), "");
        EXPECT_EQ(logged(), QStringList());
    }
}

TEST_F(ServerDispatch, AThrownStatusLeavesNoRespondStatus)
{
    useHandler<ActingHandler>([](ActingHandler &self) -> bool {
        self.setStatus("pause");
        throw QString("status");
    });
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskParam("createDir")));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_NE(param("endTime"), "");
}

TEST_F(ClientDispatch, SwallowsEveryOtherException)
{
    set("operator", "createDir");
    const std::function<void()> throwers[] = {
        [] { throw std::runtime_error("broken"); }, [] { throw 42; },
        [] { throw "return"; }, // no QString, so not the text that ends an exchange
    };
    for (const auto &thrower : throwers) {
        useHandler<ActingHandler>([&](ActingHandler &self) -> bool {
            EXPECT_TRUE(self.setParam("return", "true"));
            thrower();
            return true;
        });
        EXPECT_FALSE(handler().process());
        EXPECT_EQ(param("endTime"), "");
        EXPECT_EQ(logged(), QStringList());
    }
}

TEST_F(ServerDispatch, WritesTheOutcomeAndTheEndTime)
{
    for (const bool outcome : {true, false}) {
        useHandler<ActingHandler>([=](ActingHandler &) { return outcome; });
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        const RunningTask task = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskParam("createDir")));
        EXPECT_EQ(task.result(), outcome);
        EXPECT_EQ(param("respondStatus"), outcome ? "success" : "failed");
        EXPECT_GE(param("endTime").toLongLong(), before);
        EXPECT_LE(param("endTime").toLongLong(), QDateTime::currentMSecsSinceEpoch());
    }
}

TEST_F(ServerDispatch, ACancelAfterASuccessFailsTheTaskButNotItsRespondStatus)
{
    ASSERT_TRUE(dir.write("partial", "bytes"));
    useHandler<ActingHandler>([&](ActingHandler &self) {
        EXPECT_TRUE(self.setParam("tmpFilePath", dir.path("partial")));
        self.setStatus("cancel");
        return true;
    });
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskParam("createDir")));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(param("respondStatus"), "success");
    EXPECT_EQ(handler().getLastError(), "cancel");
    EXPECT_FALSE(dir.exists("partial"));
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(ClientDispatch, OnlyACancelRemovesTheTemporaryFile)
{
    set("operator", "createDir");
    for (const QString word : {"pause", "anything", "cancel"}) {
        ASSERT_TRUE(dir.write("partial", "bytes"));
        useHandler<ActingHandler>([&](ActingHandler &self) {
            EXPECT_TRUE(self.setParam("tmpFilePath", dir.path("partial")));
            self.setStatus(word);
            return true;
        });
        EXPECT_FALSE(handler().process());
        EXPECT_EQ(handler().getLastError(), word);
        EXPECT_EQ(dir.exists("partial"), word != "cancel") << word.toStdString();
    }
}

TEST_F(ClientDispatch, ACancelWithoutATemporaryFileRemovesNothing)
{
    set("operator", "createDir");
    useHandler<ActingHandler>([](ActingHandler &self) {
        self.setStatus("cancel");
        return true;
    });
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(handler().getLastError(), "cancel");
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(ClientDispatch, ReportsATemporaryFileThatCannotBeRemoved)
{
    set("operator", "createDir");
    useHandler<ActingHandler>([&](ActingHandler &self) {
        EXPECT_TRUE(self.setParam("tmpFilePath", dir.path("no %2 file")));
        self.setStatus("cancel");
        return true;
    });
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{"error|process: removeFile " + dir.path("no %2 file") + " failed."});
    EXPECT_EQ(handler().getLastError(), "cancel");
}

} // namespace
