#include "tests/download/support/download_client.h"

#include <QtCore/QFile>

#include <sys/stat.h>
#include <unistd.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// How the received file takes its place among what stands there already.
class DownloadPlace : public DownloadClientTest
{
protected:
    void link(const QString &text, const QString &name) const
    {
        ASSERT_EQ(::symlink(text.toUtf8().constData(), dir.path(name).toUtf8().constData()), 0);
    }

    void receive()
    {
        const RunningTask task = start();
        answer(offer("abc"));
        ASSERT_TRUE(peer.sendBytes("abc"));
        expectClosing();
        EXPECT_EQ(task.result(), true);
    }
};

TEST_F(DownloadPlace, ALinkIsReplacedAndNotWrittenThrough)
{
    set("bReplace", "true");
    ASSERT_TRUE(dir.write("elsewhere", "kept"));
    ASSERT_TRUE(dir.mkdir("in"));
    link("../elsewhere", "in/file.bin");
    receive();
    EXPECT_EQ(dir.read("elsewhere"), QByteArray("kept"));
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    EXPECT_FALSE(QFileInfo(local()).isSymLink());
}

TEST_F(DownloadPlace, ALinkThatLeadsNowhereIsReplaced)
{
    ASSERT_TRUE(dir.mkdir("in"));
    link("../nowhere", "in/file.bin");
    receive();
    EXPECT_FALSE(dir.exists("nowhere"));
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("abc"));
    EXPECT_FALSE(QFileInfo(local()).isSymLink());
}

TEST_F(DownloadPlace, ALinkToADirectoryOnTheWayIsFollowed)
{
    ASSERT_TRUE(dir.mkdir("elsewhere"));
    link("elsewhere", "in");
    receive();
    EXPECT_EQ(dir.read("elsewhere/file.bin"), QByteArray("abc"));
}

TEST_F(DownloadPlace, ALinkToAFileIsDescribedByWhatItLeadsTo)
{
    set("bVerify", "md5");
    ASSERT_TRUE(dir.write("elsewhere", "abc"));
    VeskHandler2_0_0().UpdateMtime(dir.path("elsewhere"), "test", 1000000007);
    ASSERT_TRUE(dir.mkdir("in"));
    link("../elsewhere", "in/file.bin");
    const RunningTask task = start();
    answer({{"ackRespond", "false"}});
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(asked.value("verifyValue"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(asked.value("mtime"), "1000000007");
}

TEST_F(DownloadPlace, KeepsALongName)
{
    const QString name = QString(80, QChar(0x6F22)); // 240 bytes
    set("fileName", name);
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(peer.recvMap(MessageKind::Closing), (ParamMap{{"fileName", name}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(dir.entries(), (QStringList{"in/", "in/" + name}));
}

TEST_F(DownloadPlace, ReportsADirectoryInThePlaceOfTheFile)
{
    set("bReplace", "true");
    ASSERT_TRUE(dir.mkdir("in/file.bin"));
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(),
              (QStringList{macLine(), "error|downloadRequest: removeFile " + local() + " failed."}));
    EXPECT_EQ(dir.read(temporaryName()), QByteArray("abc"));
    EXPECT_TRUE(QFileInfo(local()).isDir());
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadPlace, ReportsAFileThatAppearedMeanwhile)
{
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(dir.write("in/file.bin", "of somebody else"));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(),
              (QStringList{macLine(),
                           "error|downloadRequest: rename " + temporary() + " to " + local() + " failed."}));
    EXPECT_EQ(dir.read("in/file.bin"), QByteArray("of somebody else"));
    EXPECT_EQ(dir.read(temporaryName()), QByteArray("abc"));
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadPlace, ReportsAFileThatVanishedMeanwhile)
{
    set("bReplace", "true");
    ASSERT_TRUE(dir.write("in/file.bin", "earlier"));
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(QFile::remove(local()));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(),
              (QStringList{macLine(), "error|downloadRequest: removeFile " + local() + " failed."}));
    EXPECT_EQ(dir.read(temporaryName()), QByteArray("abc"));
}

TEST_F(DownloadPlace, ReportsATemporaryFileThatVanishedMeanwhile)
{
    set("bReplace", "true");
    ASSERT_TRUE(dir.write("in/file.bin", "earlier"));
    const RunningTask task = start();
    answer(offer("abc"));
    ASSERT_TRUE(eventually([&] { return dir.exists(temporaryName()); }));
    ASSERT_TRUE(QFile::remove(temporary()));
    ASSERT_TRUE(peer.sendBytes("abc"));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(),
              (QStringList{macLine(),
                           "error|downloadRequest: rename " + temporary() + " to " + local() + " failed."}));
    EXPECT_EQ(dir.entries(), QStringList{"in/"}) << "the old file is gone before the new one takes its place";
}

} // namespace
