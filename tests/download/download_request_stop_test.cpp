#include "tests/download/support/download_client.h"

using namespace VESK;
using namespace VESK::Test;

namespace
{

struct Stop {
    const char *word;
    bool (VeskBase::*call)();
    bool keepsTemporaryFile;
};

void PrintTo(const Stop &stop, std::ostream *out)
{
    *out << stop.word;
}

class DownloadStop : public DownloadClientTest, public testing::WithParamInterface<Stop>
{
protected:
    bool stop() { return (handler().*GetParam().call)(); }

    void expectStopped(const RunningTask &task, const QByteArray &kept)
    {
        EXPECT_EQ(task.result(stopBetweenMessages), false);
        EXPECT_EQ(handler().getLastError(), GetParam().word);
        EXPECT_EQ(dir.exists(temporaryName()), GetParam().keepsTemporaryFile);
        if (GetParam().keepsTemporaryFile) {
            EXPECT_EQ(dir.read(temporaryName()), kept);
        }
        EXPECT_FALSE(dir.exists("in/file.bin"));
        EXPECT_NE(param("endTime"), "");
    }
};

TEST_P(DownloadStop, DuringTheTransferTakesEffectWhenTheHostCloses)
{
    const RunningTask task = start();
    answer(offer(content));
    ASSERT_TRUE(peer.sendBytes(content.left(70000)));
    ASSERT_TRUE(eventually([&] { return QFileInfo(temporary()).size() == 70000; }));
    EXPECT_TRUE(stop());
    EXPECT_FALSE(task.result(std::chrono::milliseconds(0)));
    closeHandlerSocket();
    EXPECT_EQ(task.result(stopLimit), false);
    expectStopped(task, content.left(70000));
    EXPECT_EQ(logged(), QStringList{macLine()});
    EXPECT_EQ(param("transferEndSize"), "70000");
    EXPECT_EQ(handler().getStream(), nullptr);
}

TEST_P(DownloadStop, WhileWaitingForTheAnswer)
{
    ASSERT_TRUE(dir.write(temporaryName(), "part"));
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    EXPECT_TRUE(stop());
    expectStopped(task, "part");
    EXPECT_EQ(logged(), (QStringList{macLine(), "error|downloadRequest: recv TaskParamAck failed."}));
}

TEST_P(DownloadStop, WithTheAnswerReceivesNothing)
{
    ASSERT_TRUE(dir.write(temporaryName(), "part"));
    auto &staged = useHandler<StagedHandler>();
    staged.afterRecv = [&](int) { EXPECT_TRUE(stop()); };
    const RunningTask task = start();
    answer(offer(content));
    expectStopped(task, "part");
    EXPECT_EQ(logged(), QStringList{macLine()});
    EXPECT_EQ(param("beginTime"), "") << "no stream was opened";
}

TEST_P(DownloadStop, WithASecondPassFailsTheTaskAllTheSame)
{
    ASSERT_TRUE(dir.write("in/file.bin", "abc"));
    set("bVerify", "md5");
    auto &staged = useHandler<StagedHandler>();
    staged.afterRecv = [&](int) { EXPECT_TRUE(stop()); };
    ASSERT_TRUE(dir.write(temporaryName(), "part"));
    const RunningTask task = start();
    answer(offer("abc", {{"bTransfer", "false"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), GetParam().word);
    EXPECT_EQ(
        logged(),
        (QStringList{macLine(), "info|downloadRequest: file " + local() + " second pass.", timeLine()}));
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    EXPECT_EQ(dir.exists(temporaryName()), GetParam().keepsTemporaryFile);
}

TEST_P(DownloadStop, AfterTheTransferLetsTheFileTakeItsPlace)
{
    auto &staged = useHandler<StagedHandler>();
    staged.afterSend = [&](int kind) {
        if (kind == number(MessageKind::Closing)) {
            EXPECT_TRUE(stop());
        }
    };
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(peer.sendBytes("abc"));
    expectClosing();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), GetParam().word);
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    const QStringList gone{"error|process: removeFile " + temporary() + " failed."};
    EXPECT_EQ(logged(),
              QStringList({macLine(), timeLine()}) + (GetParam().keepsTemporaryFile ? QStringList() : gone));
}

INSTANTIATE_TEST_SUITE_P(Both, DownloadStop,
                         testing::Values(Stop{"pause", &VeskBase::pause, true},
                                         Stop{"cancel", &VeskBase::cancel, false}),
                         [](const auto &stop) { return std::string(stop.param.word); });

TEST_F(DownloadClientTest, APausedDownloadGoesOnWhereItStood)
{
    {
        UdtPair first;
        ScriptedPeer server(first.server(), "server");
        set("clientSocket", QString::number(first.client()));
        const RunningTask task(handler(), first);
        ASSERT_TRUE(server.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(server.sendMap(MessageKind::TaskParamAck, offer(content)));
        ASSERT_TRUE(server.sendBytes(content.left(70000)));
        ASSERT_TRUE(eventually([&] { return QFileInfo(temporary()).size() == 70000; }));
        EXPECT_TRUE(handler().pause());
        first.closeClient();
        ASSERT_EQ(task.result(), false);
    }
    // The paused handler still lives, as a host's may.
    VeskHandler2_0_0 second;
    ParamMap params;
    handler().getParams(params);
    params.insert("clientSocket", QString::number(pair.client()));
    ASSERT_TRUE(second.setParams(params));
    const RunningTask task(second, pair);
    answer(offer(content));
    EXPECT_EQ(asked.value("offset"), "70000");
    ASSERT_TRUE(peer.sendBytes(content.mid(70000)));
    expectClosing();
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.read("in/file.bin"), content);
}

} // namespace
