#include "tests/operation/upload_respond_test.h"

#include "vesk_2_0_0/handler/file_times.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <unistd.h>

// What a server makes of the offer of a file, up to its answer, and a task that ends there.

using namespace VESK;
using namespace VESK::Test;

namespace
{

TEST_F(UploadRespond, AsksForAFileThatItDoesNotHave)
{
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(true, 0));
    EXPECT_EQ(param("path"), target());
    EXPECT_EQ(param("mac"), "00:11");
    EXPECT_EQ(param("tmpFilePath"), temporary());
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(logged().mid(0, 2), lines({}));
}

TEST_F(UploadRespond, DoesNotAnswerForAnUnknownApplication)
{
    for (const QString app : {"other", ""}) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer("text", {{"appKey", app}})));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(), QStringList{error("get path of app [" + app + "] failed.")});
        EXPECT_FALSE(handler().hasSent(MessageKind::TaskParamAck));
        EXPECT_EQ(param("path"), "");
        EXPECT_EQ(param("tmpFilePath"), "");
        EXPECT_EQ(param("respondStatus"), "failed");
    }
    EXPECT_EQ(dir.entries(), QStringList());
}

TEST_F(UploadRespond, GoesOnWhereATemporaryFileEnds)
{
    store(temporaryName(), "te");
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(true, 2));
    EXPECT_EQ(param("transferBeginSize"), "2");
}

TEST_F(UploadRespond, ACompleteTemporaryFileNeedsNoMoreBytes)
{
    store(temporaryName(), "text");
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(true, 4));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(files(), QStringList{name});
    EXPECT_EQ(content(name), "text");
    EXPECT_EQ(param("transferBeginSize"), "4");
    EXPECT_EQ(param("transferEndSize"), "4");
}

TEST_F(UploadRespond, DropsATemporaryFileLongerThanTheClientsFile)
{
    store(temporaryName(), "longer");
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(content(name), "text");
    EXPECT_EQ(param("transferBeginSize"), "6") << "what was found, not where the transfer began";
    EXPECT_EQ(logged(), lines({line("warning", "server tmp offset[6], client fileSize[4]."), timeSet()}));
}

TEST_F(UploadRespond, ReportsATemporaryFileThatCannotBeDropped)
{
    ASSERT_TRUE(dir.mkdir(stored(temporaryName()))); // a directory, longer than one byte
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer("1")));
    EXPECT_EQ(task.result(), false);
    const QString size = QString::number(QFileInfo(temporary()).size());
    EXPECT_EQ(logged(),
              lines({line("warning", "server tmp offset[" + size + "], client fileSize[1]."),
                     error("remove tmp file " + temporary() + " failed.")}));
    EXPECT_FALSE(handler().hasSent(MessageKind::TaskParamAck));
    EXPECT_TRUE(QFileInfo(temporary()).isDir());
}

TEST_F(UploadRespond, WithoutASizeEvenAnEmptyTemporaryFileIsTooLong)
{
    store(temporaryName(), "");
    ParamMap sizeless = offer("");
    sizeless.remove("fileSize");
    const RunningTask task = start();
    EXPECT_EQ(ask(sizeless), answer(true, 0));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), lines({line("warning", "server tmp offset[0], client fileSize[-1]."), timeSet()}));
    EXPECT_EQ(content(name), "");
}

TEST_F(UploadRespond, WithoutASizeAndATemporaryFileThereIsNothingToDrop)
{
    for (const QString replace : {"false", "true"}) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        ParamMap sizeless = offer("", {{"bReplace", replace}});
        sizeless.remove("fileSize");
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, sizeless));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(),
                  lines({line("warning", "server tmp offset[0], client fileSize[-1]."),
                         error("remove tmp file " + temporary() + " failed.")}));
        EXPECT_FALSE(handler().hasSent(MessageKind::TaskParamAck));
    }
}

TEST_F(UploadRespond, WithoutAVerificationModeNothingIsVerified)
{
    ParamMap params;
    ASSERT_TRUE(handler().getParams(params));
    params.remove("bVerify"); // a new handler has it, empty
    ASSERT_TRUE(handler().clearParam());
    ASSERT_TRUE(handler().setParams(params));
    ParamMap modeless = offer("text");
    modeless.remove("bVerify");
    const RunningTask task = start();
    EXPECT_EQ(ask(modeless), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_FALSE(handler().hasSent(MessageKind::FileVerifyResult));
    EXPECT_EQ(content(name), "text");
}

TEST_F(UploadRespond, ASecondPassKeepsTheFileAndSetsItsTime)
{
    store(name, "other content");
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(false, 0));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), lines({line("info", "file " + target() + " second pass."), timeSet()}));
    EXPECT_EQ(content(name), "other content");
    EXPECT_EQ(modificationTime(QFileInfo(target())), clientTime);
    EXPECT_EQ(files(), QStringList{name});
    EXPECT_FALSE(handler().hasSent(MessageKind::FileVerifyResult));
    EXPECT_FALSE(handler().hasSent(MessageKind::Closing));
    EXPECT_EQ(param("respondStatus"), "success");
    EXPECT_EQ(param("beginTime"), "");
    EXPECT_EQ(param("transferEndSize"), "");
}

TEST_F(UploadRespond, ASecondPassWithoutATimeLeavesTheTimeAlone)
{
    store(name, "text");
    const std::int64_t before = modificationTime(QFileInfo(target()));
    for (const QString time : {"", "0", "-1", "absent"}) {
        ParamMap timeless = offer("text", {{"mtime", time}});
        if (time == "absent")
            timeless.remove("mtime");
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        EXPECT_EQ(ask(timeless), answer(false, 0));
        EXPECT_EQ(task.result(), true);
        EXPECT_EQ(logged(), lines({line("info", "file " + target() + " second pass.")}));
        EXPECT_EQ(modificationTime(QFileInfo(target())), before);
    }
}

TEST_F(UploadRespond, ASecondPassWhoseTimeMayNotBeSetSucceedsAllTheSame)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can own the file of somebody else";
    store(name, "text");
    ASSERT_TRUE(VeskBase::chmod(dir.path(), 0755));
    const std::int64_t before = modificationTime(QFileInfo(target()));
    const RunningTask task = startAsOrdinaryUser();
    EXPECT_EQ(ask(offer("text")), answer(false, 0));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(),
              lines({line("info", "file " + target() + " second pass."),
                     error("set new mtime of " + target() + " failed.")}));
    EXPECT_EQ(modificationTime(QFileInfo(target())), before);
}

TEST_F(UploadRespond, ASecondPassDropsAnUnusableTemporaryFile)
{
    store(name, "text");
    store(temporaryName(), "longer");
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(false, 0));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(files(), QStringList{name});
    EXPECT_EQ(logged(),
              lines({line("warning", "server tmp offset[6], client fileSize[4]."),
                     line("info", "file " + target() + " second pass."), timeSet()}));
}

TEST_F(UploadRespond, ASecondPassReportsAUsableTemporaryFileAndKeepsIt)
{
    store(name, "text");
    store(temporaryName(), "te");
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(false, 2));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(content(temporaryName()), "te");
}

TEST_F(UploadRespond, DecidesByVerificationValueAndTime)
{
    const auto valueOf = [&](const QString &mode) { return handler().getFileVerifyValue(target(), mode); };
    struct Case {
        const char *mode;
        const char *replace;
        bool sameValue;
        std::int64_t time;
        bool transfer;
    };
    const Case cases[] = {
        {"md5", "true", true, 5, false},
        {"md5", "false", false, clientTime, true},
        {"", "true", true, 5, false},
        {"", "false", false, 5, true},
        {"fileattr", "true", true, clientTime, false},
        {"fileattr", "false", true, -1, false},
        {"fileattr", "false", true, clientTime + 1, true},
        {"fileattr", "false", false, clientTime, true},
        {"fileattr", "false", false, -1, true},
        {"false", "true", false, clientTime, true},
        {"false", "True", false, clientTime, false},
    };
    for (const Case &entry : cases) {
        store(name, "text");
        useHandler<VeskHandler2_0_0>();
        handler().UpdateMtime(target(), "test", clientTime);
        UdtPair fresh;
        ScriptedPeer client(fresh.client(), "client");
        set("serverSocket", QString::number(fresh.server()));
        const RunningTask task(handler(), fresh);
        const ParamMap offered = offer("text",
                                       {{"bVerify", entry.mode},
                                        {"bReplace", entry.replace},
                                        {"verifyValue", entry.sameValue ? valueOf(entry.mode) : "other"},
                                        {"mtime", QString::number(entry.time)}});
        ASSERT_TRUE(client.sendMap(MessageKind::TaskParam, offered));
        EXPECT_EQ(client.recvMap(MessageKind::TaskParamAck), answer(entry.transfer, 0))
            << entry.mode << entry.replace << entry.sameValue << entry.time;
        fresh.closeClient();
        EXPECT_EQ(task.result(), !entry.transfer);
        QFile::remove(temporary());
    }
}

TEST_F(UploadRespond, RefusesATargetThatAnotherTaskIsReceiving)
{
    const RunningTask first = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));

    UdtPair other;
    ScriptedPeer otherClient(other.client(), "client");
    VeskHandler2_0_0 second;
    ParamMap params;
    handler().getParams(params);
    params.insert("serverSocket", QString::number(other.server()));
    params.insert("tmpFilePath", "");
    ASSERT_TRUE(second.setParams(params));
    {
        const RunningTask task(second, other);
        ASSERT_TRUE(otherClient.sendMap(MessageKind::TaskParam, offer("text")));
        EXPECT_EQ(task.result(), false);
    }
    EXPECT_EQ(log.lines(&second), lines({error("setParam tmpFilePath " + temporary() + " failed.")}));
    EXPECT_FALSE(second.hasSent(MessageKind::TaskParamAck));
    EXPECT_EQ(second.getParam("tmpFilePath"), "") << "a cancel must not remove the file of the other task";

    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(first.result(), true);
    EXPECT_EQ(content(name), "text");
}

TEST_F(UploadRespond, APausedTaskWhoseHandlerStillLivesBlocksNobody)
{
    useHandler<VeskHandler2_0_0>();
    UdtPair other;
    VeskHandler2_0_0 paused;
    ParamMap params;
    handler().getParams(params);
    params.insert("serverSocket", QString::number(other.server()));
    ASSERT_TRUE(paused.setParams(params));
    {
        ScriptedPeer otherClient(other.client(), "client");
        const RunningTask task(paused, other);
        ASSERT_TRUE(otherClient.sendMap(MessageKind::TaskParam, offer("text")));
        ASSERT_TRUE(otherClient.recvMap(MessageKind::TaskParamAck));
        paused.pause();
        EXPECT_EQ(task.result(), false);
    }
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(true, 0));
}

TEST_F(UploadRespond, ReportsThatTheAnswerCannotBeSent)
{
    store(temporaryName(), "te");
    useHandler<MuteHandler>(MessageKind::TaskParamAck);
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer("text")));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("send TaskParamAck failed.")}));
    EXPECT_EQ(files(), QStringList{temporaryName()});
    EXPECT_EQ(content(temporaryName()), "te");
}

TEST_F(UploadRespond, AStatusSetBeforeTheTransferEndsItThere)
{
    class Stopping : public VeskHandler2_0_0
    {
    public:
        explicit Stopping(const QString &word)
            : m_word(word)
        {
        }
        bool send(int kind, const QString &text) override
        {
            const bool sent = VeskHandler2_0_0::send(kind, text);
            setStatus(m_word);
            return sent;
        }

    private:
        const QString m_word;
    };
    for (const QString word : {"pause", "cancel"}) {
        store("in/keep", "");
        store(temporaryName(), "te");
        useHandler<Stopping>(word);
        const RunningTask task = start();
        EXPECT_EQ(ask(offer("text")), answer(true, 2));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(handler().getLastError(), word);
        EXPECT_EQ(logged(), lines({}));
        EXPECT_EQ(param("beginTime"), "");
        EXPECT_EQ(param("transferEndSize"), "");
        EXPECT_EQ(param("respondStatus"), "");
        EXPECT_EQ(QFileInfo::exists(temporary()), word == "pause");
    }
    ASSERT_TRUE(QDir(dir.path("mount")).removeRecursively());
    useHandler<Stopping>("cancel");
    const RunningTask task = start();
    EXPECT_EQ(ask(offer("text")), answer(true, 0));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({"error|process: removeFile " + temporary() + " failed."}))
        << "nothing had been received yet";
    EXPECT_EQ(dir.entries(), QStringList()) << "nor had a directory been made";
}

} // namespace
