#include "tests/operation/upload_respond_test.h"

#include "tests/operation/support/file_limits.h"

#include <QtCore/QFile>

#include <unistd.h>

// What can go wrong on a server after it asked for a file's data, and what is left behind.

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr unsigned int nobody = 65534; // the ordinary user, where the tests run as root
const QString notRegular = " failed.error Not a regular file";

TEST_F(UploadRespond, ReportsADirectoryThatCannotBeMade)
{
    store("in", "a file where a directory should be");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("mkdir " + directory() + " failed.")}));
    EXPECT_EQ(files(), QStringList{"in"});
    EXPECT_EQ(param("beginTime"), "");
}

TEST_F(UploadRespond, ReportsADirectoryThatMayNotBeMade)
{
    ASSERT_TRUE(dir.mkdir(stored("")));
    ASSERT_TRUE(VeskBase::chmod(storedPath(""), 0555));
    ASSERT_TRUE(VeskBase::chmod(dir.path(), 0755));
    const RunningTask task = startAsOrdinaryUser();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("mkdir " + directory() + " failed.")}));
}

TEST_F(UploadRespond, ReportsAnImpossibleModeOfDirectories)
{
    set("dirMod", "10000");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("chmodRecursively " + directory() + " failed.")}));
    EXPECT_TRUE(QFileInfo(directory()).isDir());
    EXPECT_EQ(files(), QStringList());
}

TEST_F(UploadRespond, ReportsADirectoryWhoseModeMayNotBeSet)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can own the directory of somebody else";
    ASSERT_TRUE(dir.mkdir(stored("in/box")));
    ASSERT_TRUE(VeskBase::chmod(directory(), 0777));
    ASSERT_TRUE(VeskBase::chmod(dir.path(), 0755));
    const RunningTask task = startAsOrdinaryUser();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("chmodRecursively " + directory() + " failed.")}));
}

TEST_F(UploadRespond, ReportsATemporaryFileThatCannotBeOpened)
{
    ASSERT_TRUE(dir.mkdir(stored(temporaryName())));
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bReplace", "true"}})), answer(true, 0));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(),
              lines({"error|createStream: QFile open file " + temporary() + notRegular,
                     error("createStream " + target() + " failed.")}))
        << "the second line names the target";
    EXPECT_TRUE(QFileInfo(temporary()).isDir());
    EXPECT_EQ(param("transferEndSize"), "");
    EXPECT_EQ(handler().getStream(), nullptr);
}

TEST_F(UploadRespond, DoesNotWriteThroughALinkInThePlaceOfTheTemporaryFile)
{
    ASSERT_TRUE(dir.write("outside", "te"));
    ASSERT_TRUE(dir.mkdir(stored("in/box")));
    for (const QString led : {"nowhere", "outside"}) {
        ASSERT_TRUE(QFile::link(dir.path(led), temporary()));
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        ASSERT_EQ(ask(offer("text")), answer(true, led == "outside" ? 2 : 0));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(),
                  lines({"error|createStream: QFile open file " + temporary() + notRegular,
                         error("createStream " + target() + " failed.")}));
        EXPECT_TRUE(QFileInfo(temporary()).isSymLink()) << "whoever put it there can take it away";
        ASSERT_TRUE(QFile::remove(temporary()));
    }
    EXPECT_FALSE(dir.exists("nowhere"));
    EXPECT_EQ(dir.read("outside"), "te");
    EXPECT_EQ(files(), QStringList());
}

TEST_F(UploadRespond, DoesNotWriteThroughALinkThatCannotBeRemoved)
{
    store(temporaryName(), "te");
    ASSERT_TRUE(dir.mkdir("elsewhere"));
    ASSERT_TRUE(QFile::link(dir.path("elsewhere/outside"), target()));
    if (::geteuid() == 0) {
        for (const QString &path : {temporary(), dir.path("elsewhere")})
            ASSERT_EQ(::chown(QFile::encodeName(path).constData(), nobody, nobody), 0);
    }
    ASSERT_TRUE(VeskBase::chmodRecursively(dir.path(), directory(), 0555));
    set("dirMod", "555");
    const RunningTask task = startAsOrdinaryUser();
    ASSERT_EQ(ask(offer("text")), answer(true, 2));
    ASSERT_TRUE(peer.sendBytes("xt"));
    EXPECT_EQ(task.result(), false);
    EXPECT_TRUE(VeskBase::chmodRecursively(dir.path(), directory(), 0755)); // else it could not be removed
    EXPECT_EQ(logged(), lines({error("rename " + temporary() + " to " + target() + " failed.")}));
    EXPECT_FALSE(dir.exists("elsewhere/outside"));
    EXPECT_EQ(content(temporaryName()), "text");
}

TEST_F(UploadRespond, ReportsABrokenTransferAndKeepsWhatCame)
{
    const RunningTask task = start();
    ASSERT_EQ(ask(offer(pattern(100000))), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes(pattern(30000)));
    ASSERT_TRUE(eventually([&] { return QFileInfo(temporary()).size() == 30000; }));
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    ASSERT_EQ(logged().size(), 3);
    EXPECT_EQ(logged().mid(0, 2), lines({}));
    EXPECT_TRUE(logged().last().startsWith(error("recvfile " + target() + " failed.\nConnection was broken")))
        << logged().last().toStdString();
    EXPECT_EQ(files(), QStringList{temporaryName()});
    EXPECT_EQ(content(temporaryName()), pattern(30000));
    EXPECT_EQ(param("transferEndSize"), "30000");
    EXPECT_EQ(param("respondStatus"), "failed");
    EXPECT_EQ(handler().getLastError(), "");
    EXPECT_EQ(handler().getStream(), nullptr);
}

TEST_F(UploadRespond, ReportsAFullDiskHoweverLittleIsMissing)
{
    for (const int size : {100000, 65536 + 1023, 65536 + 1}) {
        UdtPair fresh;
        ScriptedPeer client(fresh.client(), "client");
        set("serverSocket", QString::number(fresh.server()));
        useHandler<VeskHandler2_0_0>();
        const FileSizeLimit full(65536);
        const RunningTask task(handler(), fresh);
        ASSERT_TRUE(client.sendMap(MessageKind::TaskParam, offer(pattern(size))));
        ASSERT_EQ(client.recvMap(MessageKind::TaskParamAck), answer(true, 0));
        ASSERT_TRUE(client.sendBytes(pattern(size)));
        EXPECT_EQ(task.result(), false);
        ASSERT_EQ(logged().size(), 3) << size;
        EXPECT_TRUE(
            logged().last().startsWith(error("recvfile " + target() + " failed.\nFile system failure")))
            << logged().last().toStdString();
        EXPECT_FALSE(QFileInfo::exists(target()));
        EXPECT_TRUE(pattern(65536).startsWith(content(temporaryName()))) << "what was written is right";
        QFile::remove(temporary());
    }
}

TEST_F(UploadRespond, ReportsThatTheVerificationResultCannotBeSent)
{
    store("source", "text");
    const QString equal = handler().getFileVerifyValue(storedPath("source"), "md5");
    for (const QString &value : {equal, QString("other")}) {
        useHandler<MuteHandler>(MessageKind::FileVerifyResult);
        const RunningTask task = start();
        ASSERT_EQ(ask(offer("text", {{"bVerify", "md5"}, {"verifyValue", value}})), answer(true, 0));
        ASSERT_TRUE(peer.sendBytes("text"));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(), lines({error("send FileVerifyResult failed.")}));
        EXPECT_EQ(QFileInfo::exists(temporary()), value == equal) << "a file that differs can only mislead";
        EXPECT_FALSE(QFileInfo::exists(target()));
        QFile::remove(temporary());
    }
}

TEST_F(UploadRespond, ReportsAnOldTargetThatCannotBeRemoved)
{
    ASSERT_TRUE(dir.mkdir(stored(name)));
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bReplace", "true"}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("removeFile " + target() + " failed.")}));
    EXPECT_EQ(files(), QStringList{temporaryName()});
    EXPECT_EQ(content(temporaryName()), "text");
    EXPECT_FALSE(handler().hasSent(MessageKind::Closing));
}

TEST_F(UploadRespond, ReportsAnOldTargetThatVanishedMeanwhile)
{
    store(name, "old content");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bReplace", "true"}})), answer(true, 0));
    ASSERT_TRUE(QFile::remove(target()));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("removeFile " + target() + " failed.")}));
    EXPECT_EQ(files(), QStringList{temporaryName()});
    EXPECT_EQ(content(temporaryName()), "text");
}

TEST_F(UploadRespond, ReportsAnImpossibleModeOfTheFile)
{
    store(name, "old content");
    set("fileMod", "10000");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bReplace", "true"}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("chmod " + temporary() + " failed.")}));
    EXPECT_EQ(files(), QStringList{temporaryName()}) << "the old target is gone by then";
    EXPECT_EQ(content(temporaryName()), "text");
}

TEST_F(UploadRespond, ReportsATargetThatAppearedMeanwhile)
{
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    store(name, "somebody else's");
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("rename " + temporary() + " to " + target() + " failed.")}));
    EXPECT_EQ(content(name), "somebody else's");
    EXPECT_EQ(content(temporaryName()), "text");
    EXPECT_FALSE(handler().hasSent(MessageKind::Closing));
}

TEST_F(UploadRespond, ReportsALinkToAFileThatAppearedMeanwhile)
{
    ASSERT_TRUE(dir.write("elsewhere", "somebody else's"));
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    ASSERT_TRUE(dir.mkdir(stored("in/box")));
    ASSERT_TRUE(QFile::link(dir.path("elsewhere"), target()));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("rename " + temporary() + " to " + target() + " failed.")}));
    EXPECT_EQ(dir.read("elsewhere"), "somebody else's");
    EXPECT_TRUE(QFileInfo(target()).isSymLink());
    EXPECT_EQ(content(temporaryName()), "text");
}

TEST_F(UploadRespond, ReplacesALinkThatLeadsNowhereAndDoesNotWriteThroughIt)
{
    ASSERT_TRUE(dir.mkdir(stored("in/box")));
    ASSERT_TRUE(QFile::link(dir.path("outside"), target()));
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(task.result(), true);
    EXPECT_FALSE(dir.exists("outside"));
    EXPECT_FALSE(QFileInfo(target()).isSymLink());
    EXPECT_EQ(content("in/box/file.bin"), "text");
}

TEST_F(UploadRespond, ReportsThatTheClosingMessageCannotBeSent)
{
    useHandler<MuteHandler>(MessageKind::Closing);
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({timeSet(), error("send 8 failed.")}));
    EXPECT_EQ(content(name), "text") << "the file is in place all the same";
    EXPECT_EQ(files(), QStringList{name});
}

TEST_F(UploadRespond, AFailedTaskLeavesNoDescriptorOpen)
{
    set("dirMod", "10000");
    const int before = openDescriptors();
    for (int i = 0; i < 5; ++i) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        ASSERT_EQ(ask(offer("text")), answer(true, 0));
        EXPECT_EQ(task.result(), false);
    }
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
