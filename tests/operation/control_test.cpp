#include "tests/operation/support/operation_test.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTranslator>

#include <future>
#include <stdexcept>
#include <utility>

using namespace VESK;
using namespace VESK::Test;

namespace
{

bool isOpen(UDTSOCKET socket)
{
    const UDTSTATUS status = UDT::getsockstate(socket);
    return status == CONNECTED;
}

std::pair<int, int> lingerOf(UDTSOCKET socket)
{
    linger value{};
    int size = sizeof value;
    EXPECT_NE(UDT::getsockopt(socket, 0, UDT_LINGER, &value, &size), UDT::ERROR);
    return {value.l_onoff, value.l_linger};
}

void setLinger(UDTSOCKET socket, const linger &value)
{
    EXPECT_NE(UDT::setsockopt(socket, 0, UDT_LINGER, &value, sizeof value), UDT::ERROR);
}

/// The two ways to stop a task, which differ in one word only.
struct Stop {
    QString word;
    bool (VeskHandler2_0_0::*call)();
};

const Stop stops[] = {{"pause", &VeskHandler2_0_0::pause}, {"cancel", &VeskHandler2_0_0::cancel}};

class ClientControl : public ClientTest
{
protected:
    ClientControl()
        : ClientTest("upload")
    {
        EXPECT_TRUE(dir.write("local/file.bin", pattern(100000)));
    }
};

class ServerControl : public ServerTest
{
protected:
    ParamMap upload(qint64 size) const
    {
        ParamMap map = taskParam("upload");
        map.insert("fileName", "file.bin");
        map.insert("bVerify", "false");
        map.insert("fileSize", QString::number(size));
        return map;
    }
};

/// Looks at the task's socket from inside the task, and then goes the way it was told to.
class LookingHandler : public VeskHandler2_0_0
{
public:
    explicit LookingHandler(std::function<bool()> way)
        : m_way(std::move(way))
    {
    }

    bool createDirRespond() override
    {
        lingerInside = lingerOf(getParam("serverSocket").toInt());
        return m_way();
    }

    std::pair<int, int> lingerInside{-1, -1};

private:
    const std::function<bool()> m_way;
};

TEST_F(ClientControl, AFreshHandlerRunsNormally)
{
    EXPECT_EQ(handler().getStatus(), "");
    EXPECT_EQ(handler().getLastError(), "");
    handler().setStatus("pause");
    EXPECT_EQ(handler().getStatus(), "pause");
    handler().setStatus("");
    EXPECT_EQ(handler().getStatus(), "");
}

TEST_F(ClientControl, TranslatesTextsInTheContextOfItsClass)
{
    class Translator : public QTranslator
    {
    public:
        bool isEmpty() const override { return false; }
        QString translate(const char *context, const char *text, const char *, int) const override
        {
            return QString("%1: %2").arg(context, text);
        }
    };
    EXPECT_EQ(VeskHandler2_0_0::tr("text"), "text");
    Translator translator;
    ASSERT_TRUE(QCoreApplication::installTranslator(&translator));
    EXPECT_EQ(VeskHandler2_0_0::tr("text"), "VESK::VeskHandler2_0_0: text");
    QCoreApplication::removeTranslator(&translator);
}

TEST_F(ClientControl, StoppingAClientLeavesItsSocketOpen)
{
    for (const Stop &stop : stops) {
        EXPECT_TRUE((handler().*stop.call)());
        EXPECT_EQ(handler().getStatus(), stop.word);
        EXPECT_TRUE(isOpen(handlerSocket()));
    }
    EXPECT_EQ(logged(), QStringList());
    EXPECT_EQ(handler().getLastError(), "") << "process is what records it";
}

TEST_F(ServerControl, StoppingAServerClosesItsSocket)
{
    for (const Stop &stop : stops) {
        UdtPair fresh;
        set("serverSocket", QString::number(fresh.server()));
        EXPECT_TRUE((handler().*stop.call)());
        EXPECT_EQ(handler().getStatus(), stop.word);
        EXPECT_FALSE(isOpen(fresh.server()));
        EXPECT_TRUE((handler().*stop.call)()) << "a socket that is closed already is no error";
    }
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(ClientControl, StoppingWithoutASocketStillSetsTheStatus)
{
    for (const Stop &stop : stops) {
        useHandler<VeskHandler2_0_0>();
        set("clientSocket", "-1");
        EXPECT_FALSE((handler().*stop.call)());
        EXPECT_EQ(handler().getStatus(), stop.word);
        EXPECT_EQ(logged(), QStringList{"error|" + stop.word + ": localSocket get failed."});
    }
}

TEST_F(ClientControl, StoppingWithoutAnEndPointFindsNoSocket)
{
    for (const Stop &stop : stops) {
        useHandler<VeskHandler2_0_0>();
        set("endPoint", "");
        EXPECT_FALSE((handler().*stop.call)());
        EXPECT_EQ(logged(), QStringList{"error|" + stop.word + ": localSocket get failed."});
    }
}

TEST_F(ServerControl, ASocketThatIsNoNumberCountsAsOneToClose)
{
    set("serverSocket", "none");
    EXPECT_TRUE(handler().pause());
    EXPECT_EQ(logged(), QStringList());
    EXPECT_TRUE(isOpen(handlerSocket()));
}

TEST_F(ClientControl, AStopBeforeTheTaskEndsItAtItsFirstCheckPoint)
{
    for (const Stop &stop : stops) {
        useHandler<VeskHandler2_0_0>();
        EXPECT_TRUE((handler().*stop.call)());
        const RunningTask task = start();
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam))
            << "what is due before the check point still goes out";
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}, {"offset", "0"}}));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(handler().getLastError(), stop.word);
        EXPECT_EQ(param("beginTime"), "") << "no stream was opened";
        EXPECT_NE(param("endTime"), "");
        EXPECT_EQ(logged(), QStringList());
    }
}

TEST_F(ClientControl, ACheckPointRecordsTheStatusAndThrows)
{
    auto call = std::async(std::launch::async, [&] {
        handler().setStatus("pause");
        try {
            return QString(handler().uploadRequest() ? "true" : "false");
        } catch (const QString &thrown) {
            return "thrown: " + thrown + ", last error: " + handler().getLastError();
        }
    });
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}, {"offset", "0"}}));
    ASSERT_EQ(call.wait_for(patience), std::future_status::ready);
    EXPECT_EQ(call.get(), "thrown: status, last error: pause");
}

TEST_F(ClientControl, AStopEndsTheWaitForTheAcknowledgement)
{
    for (const Stop &stop : stops) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
        EXPECT_TRUE((handler().*stop.call)());
        EXPECT_EQ(task.result(lateStopLimit), false);
        EXPECT_EQ(handler().getLastError(), stop.word);
        EXPECT_EQ(logged(), QStringList{"error|uploadRequest: recv TaskParamAck failed."});
    }
}

TEST_F(ClientControl, AStopEndsTheWaitForTheVerification)
{
    set("bVerify", "md5");
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}, {"offset", "0"}}));
    ASSERT_EQ(peer.recvBytes(100000).size(), 100000);
    ASSERT_TRUE(eventually([&] { return param("transferEndSize") == "100000"; }));
    EXPECT_TRUE(handler().pause());
    EXPECT_EQ(task.result(lateStopLimit), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(logged(), QStringList{"error|uploadRequest: recv FileVerifyResult failed."});
}

TEST_F(ClientControl, AStopEndsTheWaitForTheClosingMessage)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}, {"offset", "0"}}));
    ASSERT_EQ(peer.recvBytes(100000).size(), 100000);
    ASSERT_TRUE(eventually([&] { return param("transferEndSize") == "100000"; }));
    EXPECT_TRUE(handler().cancel());
    EXPECT_EQ(task.result(lateStopLimit), false);
    EXPECT_EQ(handler().getLastError(), "cancel");
    EXPECT_EQ(logged(), QStringList{"error|uploadRequest: recv 8 failed."});
}

TEST_F(ClientControl, AStopDuringTheTransferTakesEffectWhenTheHostClosesTheSocket)
{
    constexpr qint64 size = 64 << 20; // more than the library buffers for a peer that does not read
    ASSERT_TRUE(dir.write("local/file.bin", pattern(size)));
    for (const Stop &stop : stops) {
        useHandler<VeskHandler2_0_0>();
        UdtPair fresh;
        ScriptedPeer server(fresh.server(), "server");
        set("clientSocket", QString::number(fresh.client()));
        done = untouched;
        const RunningTask task(handler(), fresh);
        ASSERT_TRUE(server.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(server.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}, {"offset", "0"}}));
        ASSERT_TRUE(eventually([&] { return __atomic_load_n(&done, __ATOMIC_RELAXED) > 1 << 20; }));

        const auto called = std::chrono::steady_clock::now();
        EXPECT_TRUE((handler().*stop.call)());
        EXPECT_LT(std::chrono::steady_clock::now() - called, stopLimit) << "the transfer holds up no caller";
        EXPECT_FALSE(task.result(std::chrono::milliseconds(0)));
        fresh.closeClient();
        EXPECT_EQ(task.result(stopLimit), false);
        EXPECT_EQ(handler().getLastError(), stop.word);
        EXPECT_EQ(logged(), QStringList()) << "the transfer's own error does not count";
        EXPECT_EQ(param("transferEndSize"), QString::number(done));
        EXPECT_LT(done, size);
        EXPECT_EQ(handler().getStream(), nullptr);
    }
}

TEST_F(ServerControl, AStopEndsTheWaitForTheTaskParam)
{
    for (const Stop &stop : stops) {
        UdtPair fresh;
        useHandler<VeskHandler2_0_0>();
        set("serverSocket", QString::number(fresh.server()));
        const RunningTask task(handler(), fresh);
        EXPECT_FALSE(task.result(std::chrono::milliseconds(20)));
        EXPECT_TRUE((handler().*stop.call)());
        EXPECT_EQ(task.result(stopLimit), false);
        EXPECT_EQ(handler().getLastError(), stop.word);
        EXPECT_EQ(param("respondStatus"), "failed");
        EXPECT_EQ(logged(), QStringList{"error|respond: recv TaskParam failed."});
    }
}

TEST_F(ServerControl, AStopBeforeTheTaskEndsItAtOnce)
{
    for (const Stop &stop : stops) {
        UdtPair fresh;
        useHandler<VeskHandler2_0_0>();
        set("serverSocket", QString::number(fresh.server()));
        EXPECT_TRUE((handler().*stop.call)());
        const RunningTask task(handler(), fresh);
        EXPECT_EQ(task.result(stopLimit), false);
        EXPECT_EQ(handler().getLastError(), stop.word);
        EXPECT_EQ(logged(), QStringList{"error|respond: recv TaskParam failed."});
    }
}

TEST_F(ServerControl, AStopEndsTheTransferAndOnlyACancelDropsWhatCame)
{
    for (const Stop &stop : stops) {
        UdtPair fresh;
        ScriptedPeer client(fresh.client(), "client");
        useHandler<VeskHandler2_0_0>();
        set("serverSocket", QString::number(fresh.server()));
        setLinger(fresh.server(), {1, 30});
        const RunningTask task(handler(), fresh);
        ASSERT_TRUE(client.sendMap(MessageKind::TaskParam, upload(1 << 20)));
        ASSERT_TRUE(client.recvMap(MessageKind::TaskParamAck));
        ASSERT_TRUE(client.sendBytes(pattern(300000)));
        const QString temporary = handler().generateTmpFilePath(storedPath("file.bin"));
        ASSERT_TRUE(eventually([&] { return QFileInfo(temporary).size() == 300000; }));

        EXPECT_TRUE((handler().*stop.call)());
        EXPECT_EQ(task.result(stopLimit), false);
        EXPECT_EQ(handler().getLastError(), stop.word);
        EXPECT_EQ(param("respondStatus"), "") << "the check point was left by an exception";
        EXPECT_EQ(param("transferEndSize"), "300000");
        EXPECT_NE(param("endTime"), "");
        EXPECT_EQ(logged(),
                  QStringList({"info|uploadRespond: " + storedPath("file.bin") + " ...",
                               "info|uploadRespond: recv mac: "}));
        EXPECT_EQ(QFileInfo::exists(temporary), stop.word == "pause");
        EXPECT_EQ(handler().getStream(), nullptr);
        QFile::remove(temporary);
    }
}

TEST_F(ServerControl, DoesNotLingerDuringTheTaskAndDoesAgainAfterwards)
{
    const std::function<bool()> ways[] = {
        [] { return true; },
        [] { return false; },
        []() -> bool { throw QString("return"); },
        []() -> bool { throw QString("status"); },
        []() -> bool { throw std::runtime_error("broken"); },
    };
    setLinger(handlerSocket(), {1, 30});
    for (const auto &way : ways) {
        const LookingHandler &looking = useHandler<LookingHandler>(way);
        const RunningTask task = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskParam("createDir")));
        ASSERT_TRUE(task.result());
        EXPECT_EQ(looking.lingerInside.first, 0);
        EXPECT_EQ(lingerOf(handlerSocket()), std::make_pair(1, 30));
    }
    setLinger(handlerSocket(), {0, 0});
}

TEST_F(ServerControl, LingersAgainAfterATaskWhoseParametersWereRefused)
{
    setLinger(handlerSocket(), {1, 30});
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, {{"mountPath", "/"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(lingerOf(handlerSocket()), std::make_pair(1, 30));
    setLinger(handlerSocket(), {0, 0});
}

TEST_F(ClientControl, LeavesTheLingerOfAClientsSocketAlone)
{
    class Client : public VeskHandler2_0_0
    {
    public:
        bool createDirRequest() override
        {
            lingerInside = lingerOf(getParam("clientSocket").toInt());
            return true;
        }
        std::pair<int, int> lingerInside{-1, -1};
    };
    set("operator", "createDir");
    setLinger(handlerSocket(), {1, 30});
    const Client &client = useHandler<Client>();
    EXPECT_TRUE(handler().process());
    EXPECT_EQ(client.lingerInside, std::make_pair(1, 30));
    setLinger(handlerSocket(), {0, 0});
}

TEST_F(ServerControl, ManyCallersMayStopAndAskAtOnce)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, upload(1 << 20)));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    {
        const auto ask = [&] {
            for (int i = 0; i < 1000; ++i)
                (void)(handler().getStatus() + param("transferEndSize") + handler().getLastError());
        };
        const Background first(ask);
        const Background second([&] { return handler().pause(); });
        const Background third([&] { return handler().pause(); });
        ask();
    }
    EXPECT_EQ(task.result(stopLimit), false);
    EXPECT_EQ(handler().getLastError(), "pause");
}

} // namespace
