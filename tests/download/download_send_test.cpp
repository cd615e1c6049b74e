#include "tests/download/support/download_server.h"

#include <QtCore/QFile>

#include <sys/stat.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

class DownloadSend : public DownloadServerTest
{
protected:
    /// What happens to the file right after the answer has gone out.
    void afterTheAnswer(std::function<void()> action)
    {
        auto &staged = useHandler<StagedHandler>();
        staged.afterSend = [action = std::move(action)](int kind) {
            if (kind == number(MessageKind::TaskParamAck))
                action();
        };
        m_before = log.lines().size();
    }

    void expectLines(const QStringList &expected) const { EXPECT_EQ(log.lines().mid(m_before), expected); }

    /// The last line, of which only the beginning is known: the library's text follows.
    void expectLastLine(const QString &beginning) const
    {
        ASSERT_FALSE(log.lines().isEmpty());
        EXPECT_TRUE(log.lines().last().startsWith(beginning)) << log.lines().last().toStdString();
    }

private:
    int m_before = 0;
};

TEST_F(DownloadSend, SendsTheFileAndWaitsForTheClosingMessage)
{
    const QByteArray content = pattern(100000);
    offer(content);
    const RunningTask task = start();
    ask(taskFor());
    EXPECT_EQ(peer.recvBytes(content.size()), content);
    EXPECT_FALSE(task.result(std::chrono::milliseconds(50)));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(lines(), QStringList{startLine()});
    EXPECT_EQ(param("respondStatus"), "success");
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(param("transferEndSize"), "100000");
    EXPECT_NE(param("beginTime"), "");
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_TRUE(nothingElseCame(handler(), peer));
    EXPECT_EQ(dir.read(stored("box/file.bin")), content);
}

TEST_F(DownloadSend, WithoutAVerificationModeNothingIsVerified)
{
    ParamMap params;
    ASSERT_TRUE(handler().getParams(params));
    params.remove("bVerify"); // a new handler has it, empty
    ASSERT_TRUE(handler().clearParam());
    ASSERT_TRUE(handler().setParams(params));
    offer("text");
    ParamMap modeless = taskFor();
    modeless.remove("bVerify");
    const RunningTask task = start();
    EXPECT_EQ(ask(modeless).value("verifyValue", "absent"), "");
    EXPECT_EQ(peer.recvBytes(4), "text");
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(lines(), QStringList{startLine()});
}

TEST_F(DownloadSend, SendsOnlyWhatIsMissing)
{
    const QByteArray content = pattern(100000);
    offer(content);
    const RunningTask task = start();
    EXPECT_EQ(ask(taskFor({{"offset", "99990"}})).value("bTruncate"), "false");
    EXPECT_EQ(peer.recvBytes(10), content.right(10));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(param("transferBeginSize"), "99990");
    EXPECT_EQ(param("transferEndSize"), "100000");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadSend, SendsTheWholeFileForARejectedOffset)
{
    offer("abc");
    const RunningTask task = start();
    EXPECT_EQ(ask(taskFor({{"offset", "4"}})).value("bTruncate"), "true");
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(param("transferBeginSize"), "4");
    EXPECT_EQ(param("transferEndSize"), "3");
}

TEST_F(DownloadSend, SendsNoByteForACompleteOffsetButAwaitsBothMessages)
{
    offer("abc");
    const RunningTask task = start();
    ask(taskFor({{"offset", "3"}, {"bVerify", "md5"}}));
    ASSERT_TRUE(peer.sendMap(MessageKind::FileVerifyResult, {{"verifyResult", "true"}}));
    EXPECT_FALSE(task.result(std::chrono::milliseconds(50)));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(param("transferEndSize"), "3");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadSend, SendsAnEmptyFile)
{
    offer("");
    const RunningTask task = start();
    EXPECT_EQ(ask(taskFor()).value("fileSize"), "0");
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(lines(), QStringList{startLine()});
}

TEST_F(DownloadSend, DoesNotExamineTheClosingMessage)
{
    offer("abc");
    const RunningTask task = start();
    ask(taskFor());
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    ASSERT_TRUE(peer.send(number(MessageKind::Closing), "garbage"));
    EXPECT_EQ(task.result(), true);
}

TEST_F(DownloadSend, TakesEverythingButTheExactWordForAFailedVerification)
{
    offer("abc");
    const ParamMap results[] = {
        {{"verifyResult", "false"}}, {}, {{"verifyResult", "True"}}, {{"verifyResult", ""}}};
    for (const ParamMap &result : results) {
        SCOPED_TRACE(testing::PrintToString(result));
        const int before = log.lines().size();
        const RunningTask task = start();
        ask(taskFor({{"bVerify", "md5"}}));
        EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
        ASSERT_TRUE(peer.sendMap(MessageKind::FileVerifyResult, result));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(log.lines().mid(before),
                  (QStringList{startLine(), "error|downloadRespond: FileVerifyResult error."}));
        EXPECT_EQ(param("respondStatus"), "failed");
    }
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadSend, AMalformedVerificationResultIsAFailedOne)
{
    offer("abc");
    const RunningTask task = start();
    ask(taskFor({{"bVerify", "md5"}}));
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    ASSERT_TRUE(peer.send(number(MessageKind::FileVerifyResult), "verifyResult=true"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(lines(), (QStringList{startLine(), "error|downloadRespond: FileVerifyResult error."}));
}

TEST_F(DownloadSend, ReportsAMissingVerificationResult)
{
    offer("abc");
    const RunningTask task = start();
    ask(taskFor({{"bVerify", "md5"}}));
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    ASSERT_TRUE(close()); // too early
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(lines(), (QStringList{startLine(), "error|downloadRespond: recv FileVerifyResult failed."}));
}

TEST_F(DownloadSend, ReportsAClientThatLeavesBeforeTheVerificationResult)
{
    offer("abc");
    const RunningTask task = start();
    ask(taskFor({{"bVerify", "md5"}}));
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(lines(), (QStringList{startLine(), "error|downloadRespond: recv FileVerifyResult failed."}));
}

TEST_F(DownloadSend, ReportsAMissingClosingMessage)
{
    offer("abc");
    for (const QString mode : {"false", "md5"}) {
        const int before = log.lines().size();
        UdtPair fresh;
        ScriptedPeer client(fresh.client(), "client");
        useHandler<VeskHandler2_0_0>();
        set("serverSocket", QString::number(fresh.server()));
        const RunningTask task(handler(), fresh);
        ASSERT_TRUE(client.sendMap(MessageKind::TaskParam, taskFor({{"bVerify", mode}})));
        ASSERT_TRUE(client.recvMap(MessageKind::TaskParamAck));
        EXPECT_EQ(client.recvBytes(3), QByteArray("abc"));
        if (mode == "md5") {
            ASSERT_TRUE(client.sendMap(MessageKind::FileVerifyResult, {{"verifyResult", "true"}}));
            ASSERT_TRUE(client.sendMap(MessageKind::FileVerifyResult, {{"verifyResult", "true"}}));
        } else {
            fresh.closeClient();
        }
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(log.lines().mid(before),
                  (QStringList{startLine(), "error|downloadRespond: recv 8 failed."}));
        EXPECT_EQ(param("respondStatus"), "failed");
        EXPECT_EQ(param("transferEndSize"), "3");
    }
}

TEST_F(DownloadSend, ReportsAFileThatShrinksAfterTheAnswer)
{
    offer(pattern(500000));
    afterTheAnswer([&] { ASSERT_TRUE(QFile::resize(path(), 200000)); });
    const RunningTask task = start();
    EXPECT_EQ(ask(taskFor()).value("fileSize"), "500000");
    EXPECT_EQ(task.result(), false);
    expectLastLine("error|downloadRespond: sendfile " + path() + " failed.\nFile system failure");
    EXPECT_EQ(param("respondStatus"), "failed");
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_NE(param("transferEndSize"), "");
}

TEST_F(DownloadSend, SendsWhatItAnnouncedOfAFileThatGrows)
{
    offer("abc");
    afterTheAnswer([&] { ASSERT_TRUE(dir.write(stored("box/file.bin"), "abcdef")); });
    const RunningTask task = start();
    EXPECT_EQ(ask(taskFor()).value("fileSize"), "3");
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadSend, ReportsAFileThatVanishesAfterTheAnswer)
{
    offer("abc");
    afterTheAnswer([&] { ASSERT_TRUE(QFile::remove(path())); });
    const RunningTask task = start();
    ask(taskFor());
    EXPECT_EQ(task.result(), false);
    expectLines({startLine(),
                 "error|createStream: QFile open file " + path() + " failed.error No such file or directory",
                 "error|downloadRespond: createStream " + path() + " failed."});
    EXPECT_EQ(param("transferEndSize"), "");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadSend, DoesNotHangOnAFifoThatTakesTheFilesPlace)
{
    offer("abc");
    afterTheAnswer([&] {
        ASSERT_TRUE(QFile::remove(path()));
        ASSERT_EQ(::mkfifo(path().toUtf8().constData(), 0600), 0);
    });
    const RunningTask task = start();
    ask(taskFor());
    EXPECT_EQ(task.result(), false);
    expectLines({startLine(),
                 "error|createStream: QFile open file " + path() + " failed.error Not a regular file",
                 "error|downloadRespond: createStream " + path() + " failed."});
}

TEST_F(DownloadSend, DoesNotHangOnWhatIsNoFile)
{
    ASSERT_TRUE(dir.mkdir(stored("box/directory")));
    ASSERT_EQ(::mkfifo(storedPath("box/fifo").toUtf8().constData(), 0600), 0);
    for (const QString name : {"directory", "fifo"}) {
        for (const QString mode : {"false", "md5", "fileattr"}) {
            SCOPED_TRACE((name + ' ' + mode).toStdString());
            const int before = log.lines().size();
            const QString full = storedPath("box/" + name);
            const RunningTask task = start();
            const ParamMap ack = ask(taskFor({{"fileName", name}, {"bVerify", mode}}));
            EXPECT_EQ(ack.value("ackRespond"), "true");
            EXPECT_EQ(ack.value("verifyValue"), "");
            EXPECT_EQ(task.result(), false);
            EXPECT_EQ(log.lines().mid(before),
                      (QStringList{"info|downloadRespond: Process downloading " + full + " ...",
                                   "error|createStream: QFile open file " + full
                                       + " failed.error Not a regular file",
                                   "error|downloadRespond: createStream " + full + " failed."}));
        }
    }
}

TEST_F(DownloadSend, ReportsAFileThatMayNotBeRead)
{
    offer("abc");
    ASSERT_EQ(::chmod(dir.path().toUtf8().constData(), 0755), 0);
    ASSERT_EQ(::chmod(path().toUtf8().constData(), 0), 0);
    const RunningTask task = startAsOrdinaryUser();
    EXPECT_EQ(ask(taskFor()).value("ackRespond"), "true");
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(
        lines(),
        (QStringList{startLine(),
                     "error|createStream: QFile open file " + path() + " failed.error Permission denied",
                     "error|downloadRespond: createStream " + path() + " failed."}));
}

TEST_F(DownloadSend, ReportsAConnectionThatIsGone)
{
    offer("abc");
    afterTheAnswer([&] { closeHandlerSocket(); });
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor()));
    EXPECT_EQ(task.result(), false);
    expectLastLine("error|downloadRespond: sendfile " + path() + " failed.\n");
    EXPECT_EQ(param("transferEndSize"), "0");
    EXPECT_EQ(handler().getStream(), nullptr);
}

TEST_F(DownloadSend, ReportsAClientThatLeavesDuringTheTransfer)
{
    offer(pattern(40 << 20)); // more than the buffers of both ends hold
    const RunningTask task = start();
    ask(taskFor());
    EXPECT_EQ(peer.recvBytes(1000).size(), 1000);
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    expectLastLine("error|downloadRespond: sendfile " + path() + " failed.\nConnection was broken");
    EXPECT_EQ(param("respondStatus"), "failed");
}

struct Stop {
    const char *word;
    bool (VeskBase::*call)();
};

void PrintTo(const Stop &stop, std::ostream *out)
{
    *out << stop.word;
}

class DownloadSendStop : public DownloadSend, public testing::WithParamInterface<Stop>
{
};

TEST_P(DownloadSendStop, DuringTheTransferEndsItAtOnce)
{
    offer(pattern(40 << 20));
    const RunningTask task = start();
    ask(taskFor());
    EXPECT_EQ(peer.recvBytes(1000).size(), 1000);
    EXPECT_TRUE((handler().*GetParam().call)());
    EXPECT_EQ(task.result(stopLimit), false);
    EXPECT_EQ(handler().getLastError(), GetParam().word);
    EXPECT_EQ(lines(), QStringList{startLine()});
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_NE(param("transferEndSize"), "");
    EXPECT_TRUE(dir.exists(stored("box/file.bin"))) << "a cancel removes no file of the server's";
}

TEST_P(DownloadSendStop, WithTheAnswerSendsNothing)
{
    offer("abc");
    afterTheAnswer([&] { EXPECT_TRUE((handler().*GetParam().call)()); });
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor()));
    EXPECT_EQ(task.result(stopBetweenMessages), false);
    EXPECT_EQ(handler().getLastError(), GetParam().word);
    expectLines({startLine()});
    EXPECT_EQ(param("beginTime"), "");
}

INSTANTIATE_TEST_SUITE_P(Both, DownloadSendStop,
                         testing::Values(Stop{"pause", &VeskBase::pause}, Stop{"cancel", &VeskBase::cancel}),
                         [](const auto &stop) { return std::string(stop.param.word); });

} // namespace
