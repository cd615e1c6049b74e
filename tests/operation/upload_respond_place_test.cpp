#include "tests/operation/upload_respond_test.h"

#include "vesk_2_0_0/handler/file_times.h"

#include <QtCore/QFile>

#include <sys/stat.h>
#include <unistd.h>

// How a server receives a file and puts it in its place.

using namespace VESK;
using namespace VESK::Test;

namespace
{

unsigned int modeOf(const QString &path)
{
    struct stat status = {};
    EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &status), 0) << path.toStdString();
    return status.st_mode & 07777U;
}

TEST_F(UploadRespond, ReceivesTheFileAndSaysWhenItIsInPlace)
{
    const RunningTask task = start();
    ASSERT_EQ(ask(offer(pattern(100000))), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes(pattern(50000)));
    ASSERT_TRUE(eventually([&] { return QFileInfo(temporary()).size() == 50000; }));
    EXPECT_EQ(files(), QStringList{temporaryName()}) << "nothing shows up at the target before the end";
    ASSERT_TRUE(peer.sendBytes(pattern(100000).mid(50000)));

    EXPECT_EQ(peer.recvMap(MessageKind::Closing), (ParamMap{{"fileName", "file.bin"}}));
    EXPECT_EQ(content(name), pattern(100000)) << "it is there by the time of the closing message";
    EXPECT_EQ(modificationTime(QFileInfo(target())), clientTime);
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(files(), QStringList{name});
    EXPECT_EQ(logged(), lines({timeSet()}));
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(param("transferEndSize"), "100000");
    EXPECT_EQ(param("respondStatus"), "success");
    EXPECT_NE(param("beginTime"), "");
    EXPECT_EQ(param("return"), "");
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(UploadRespond, AppendsToTheTemporaryFile)
{
    store(temporaryName(), "te");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 2));
    ASSERT_TRUE(peer.sendBytes("xt"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(content(name), "text");
    EXPECT_EQ(param("transferEndSize"), "4");
}

TEST_F(UploadRespond, AReplacementStartsAtZeroButKeepsWhatTheTemporaryFileHolds)
{
    store(temporaryName(), "old");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bReplace", "true"}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(content(name), "oldtext");
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(param("transferEndSize"), "4");
}

TEST_F(UploadRespond, VerificationCatchesWhatAReplacementAppendedTo)
{
    store("source", "text");
    const QString value = handler().getFileVerifyValue(storedPath("source"), "md5");
    store(temporaryName(), "old");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bReplace", "true"}, {"bVerify", "md5"}, {"verifyValue", value}})),
              answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "false"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(files(), QStringList{"source"});
}

TEST_F(UploadRespond, ReplacesAnOldTarget)
{
    store(name, "old content");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bReplace", "true"}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(content(name), "text");
    EXPECT_EQ(files(), QStringList{name});
}

TEST_F(UploadRespond, ReplacesALinkAndNotWhatItLeadsTo)
{
    store("elsewhere", "kept");
    ASSERT_TRUE(dir.mkdir(stored("in/box")));
    ASSERT_TRUE(QFile::link(storedPath("elsewhere"), target()));
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bReplace", "true"}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(content("elsewhere"), "kept");
    EXPECT_FALSE(QFileInfo(target()).isSymLink());
    EXPECT_EQ(content(name), "text");
}

TEST_F(UploadRespond, DoesNotWriteThroughALinkThatLeadsNowhere)
{
    ASSERT_TRUE(dir.mkdir(stored("in/box")));
    ASSERT_TRUE(QFile::link(dir.path("outside"), target()));
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_FALSE(dir.exists("outside"));
    EXPECT_FALSE(QFileInfo(target()).isSymLink()) << "the link gives way to the file";
    EXPECT_EQ(content(name), "text");
}

TEST_F(UploadRespond, ReportsASuccessfulVerificationBeforeTheClosingMessage)
{
    store("source", pattern(5000));
    for (const QString mode : {"md5", "sha1", "sha256", "fileattr", "", "xxh128"}) {
        QFile::remove(target());
        useHandler<VeskHandler2_0_0>();
        const QString value = handler().getFileVerifyValue(storedPath("source"), mode);
        const RunningTask task = start();
        ASSERT_EQ(ask(offer(pattern(5000), {{"bVerify", mode}, {"verifyValue", value}})), answer(true, 0));
        ASSERT_TRUE(peer.sendBytes(pattern(5000)));
        EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "true"}}));
        EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
        EXPECT_EQ(task.result(), true) << mode.toStdString();
        EXPECT_EQ(content(name), pattern(5000));
        EXPECT_EQ(logged(), lines({timeSet()}));
    }
}

TEST_F(UploadRespond, AnUnverifiableFileIsDroppedAndTheTargetKept)
{
    store(name, "old content");
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bVerify", "md5"}, {"verifyValue", "other"}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "false"}}));
    EXPECT_EQ(files(), QStringList{name})
        << "gone by the time of the report, so the next attempt starts anew";
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), lines({error("FileVerify failed.")}));
    EXPECT_EQ(content(name), "old content");
    EXPECT_FALSE(handler().hasSent(MessageKind::Closing));
    EXPECT_EQ(param("respondStatus"), "failed");
    EXPECT_EQ(param("transferEndSize"), "4");
}

TEST_F(UploadRespond, AMissingVerificationValueEqualsNone)
{
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"bVerify", "md5"}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "false"}}));
    EXPECT_EQ(task.result(), false);
}

TEST_F(UploadRespond, WithoutAModeVerificationIsOn)
{
    ParamMap modeless = offer("text");
    modeless.remove("bVerify");
    const RunningTask task = start();
    ASSERT_EQ(ask(modeless), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(peer.recvMap(MessageKind::FileVerifyResult), (ParamMap{{"verifyResult", "false"}}));
    EXPECT_EQ(task.result(), false);
}

TEST_F(UploadRespond, AnEmptyTimeIsNotSet)
{
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"mtime", "-1"}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), lines({}));
}

TEST_F(UploadRespond, GivesDirectoriesTheirModeFromTheRootOfTheTaskOn)
{
    ASSERT_TRUE(dir.mkdir("mount/area"));
    ASSERT_TRUE(VeskBase::chmod(dir.path("mount/area"), 0701));
    ASSERT_TRUE(dir.mkdir(stored("in")));
    ASSERT_TRUE(VeskBase::chmod(storedPath("in"), 0700));
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text")), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(modeOf(dir.path("mount/area")), 0701U);
    EXPECT_EQ(modeOf(storedPath("")), 0750U);
    EXPECT_EQ(modeOf(storedPath("in")), 0750U);
    EXPECT_EQ(modeOf(storedPath("in/box")), 0750U);
    EXPECT_EQ(modeOf(target()), 0640U);
}

TEST_F(UploadRespond, ReadsModesAsOctalDigits)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can work in directories that bar their owner";
    struct Case {
        const char *text;
        unsigned int mode;
    };
    const Case cases[] = {
        {"", 01411}, // 777, but decimal
        {"777", 0777}, {"0644", 0644}, {"7777", 07777}, {"89", 0}, {"rwx", 0}, {"0", 0},
    };
    for (const Case &entry : cases) {
        set("fileMod", entry.text);
        set("dirMod", entry.text);
        useHandler<VeskHandler2_0_0>();
        QFile::remove(target());
        const RunningTask task = start();
        ASSERT_EQ(ask(offer("text")), answer(true, 0));
        ASSERT_TRUE(peer.sendBytes("text"));
        EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
        EXPECT_EQ(task.result(), true);
        EXPECT_EQ(modeOf(target()), entry.mode) << entry.text;
        EXPECT_EQ(modeOf(directory()), entry.mode) << entry.text;
        EXPECT_EQ(modeOf(storedPath("")), entry.mode) << entry.text;
    }
}

TEST_F(UploadRespond, StoresNamesOfEveryKind)
{
    const QString names[] = {
        QString::fromUtf8(
            "\xD0\xBF\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 \xE6\x96\x87\xE4\xBB\xB6 \xF0\x9F\x93\xA6"),
        "two  blanks ",
        "%1 %2",
        "line\nbreak",
        "a=b",
        "back\\slash",
        ".hidden",
        QString(255, 'n'),
        QString::fromUtf8("\xD0\xBF").repeated(127),
    };
    for (const QString &fileName : names) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        ASSERT_EQ(ask(offer("text", {{"fileName", fileName}})), answer(true, 0));
        ASSERT_TRUE(peer.sendBytes("text"));
        EXPECT_EQ(peer.recvMap(MessageKind::Closing), (ParamMap{{"fileName", fileName}}));
        EXPECT_EQ(task.result(), true);
        const QString path = storedPath("in/box/" + fileName);
        EXPECT_EQ(content("in/box/" + fileName), "text");
        EXPECT_EQ(logged(),
                  QStringList({line("info", path + " ..."), line("info", "recv mac: 00:11"),
                               line("debug", "set [" + path + "] mtime [1234567890] finished!")}));
    }
    EXPECT_EQ(files().size(), static_cast<int>(std::size(names))) << "and no temporary file is left";
}

TEST_F(UploadRespond, ANameMayLeadThroughDirectories)
{
    const RunningTask task = start();
    ASSERT_EQ(ask(offer("text", {{"fileName", "deep/er/file"}, {"destPath", ""}})), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes("text"));
    EXPECT_EQ(peer.recvMap(MessageKind::Closing), (ParamMap{{"fileName", "deep/er/file"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(files(), QStringList{"deep/er/file"});
}

TEST_F(UploadRespond, ReceivesThroughASocketThatTheHostMadeNonBlocking)
{
    const bool blocking = false;
    ASSERT_NE(UDT::setsockopt(handlerSocket(), 0, UDT_SNDSYN, &blocking, sizeof blocking), UDT::ERROR);
    ASSERT_NE(UDT::setsockopt(handlerSocket(), 0, UDT_RCVSYN, &blocking, sizeof blocking), UDT::ERROR);
    const RunningTask task = start();
    ASSERT_EQ(ask(offer(pattern(1000000))), answer(true, 0));
    ASSERT_TRUE(peer.sendBytes(pattern(1000000)));
    EXPECT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(content(name), pattern(1000000));
}

} // namespace
