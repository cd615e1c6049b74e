#include "tests/download/support/transfer_pair.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

using namespace VESK;
using namespace VESK::Test;

namespace
{

qint64 timeOf(const QString &path)
{
    return QFileInfo(path).lastModified().toSecsSinceEpoch();
}

class DownloadSize : public TransferPairTest, public testing::WithParamInterface<int>
{
};

TEST_P(DownloadSize, ArrivesWhole)
{
    const QByteArray content = pattern(GetParam());
    ASSERT_TRUE(dir.write(remote("file"), content));
    VeskHandler2_0_0().UpdateMtime(dir.path(remote("file")), "setup", 1000000007);
    startServer();
    const Outcome outcome = download("file");
    EXPECT_TRUE(outcome.succeeded);
    EXPECT_EQ(dir.read(local("file")), content);
    EXPECT_EQ(timeOf(dir.path(local("file"))), 1000000007);
    EXPECT_EQ(dir.entries().filter("vsktmp"), QStringList());
    EXPECT_EQ(total, content.size());
    EXPECT_EQ(done, content.size());

    const std::vector<Outcome> served = endExchange();
    ASSERT_EQ(served.size(), 2U);
    EXPECT_TRUE(served[0].succeeded);
    EXPECT_EQ(served[0].params.value("respondStatus"), "success");
    EXPECT_EQ(served[0].params.value("transferEndSize"), QString::number(content.size()));
    EXPECT_EQ(served[1].lastError, "return");
}

// Around the data of a packet, the sender's block, and several of the receiver's buffers.
INSTANTIATE_TEST_SUITE_P(Bytes, DownloadSize,
                         testing::Values(0, 1, 1455, 1456, 1457, 363999, 364000, 364001, 5 << 20),
                         testing::PrintToStringParamName());

class DownloadVerified : public TransferPairTest, public testing::WithParamInterface<const char *>
{
};

TEST_P(DownloadVerified, IsSentOnceAndThenRecognised)
{
    const QByteArray content = pattern((1 << 20) + 12345);
    ASSERT_TRUE(dir.write(remote("file"), content));
    VeskHandler2_0_0().UpdateMtime(dir.path(remote("file")), "setup", 1000000007);
    startServer();
    const ParamMap verified{{"bVerify", GetParam()}};
    EXPECT_TRUE(download("file", verified).succeeded);
    EXPECT_EQ(dir.read(local("file")), content);

    const Outcome again = download("file", verified);
    EXPECT_TRUE(again.succeeded);
    EXPECT_EQ(again.params.value("transferEndSize"), "") << "a second pass moves nothing";
    EXPECT_EQ(timeOf(dir.path(local("file"))), 1000000007);

    ASSERT_TRUE(dir.write(local("file"), pattern(content.size(), 2)));
    const Outcome changed = download("file", verified);
    EXPECT_TRUE(changed.succeeded);
    EXPECT_EQ(changed.params.value("transferEndSize"), QString::number(content.size()));
    EXPECT_EQ(dir.read(local("file")), content);

    const std::vector<Outcome> served = endExchange();
    ASSERT_EQ(served.size(), 4U);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(served[static_cast<size_t>(i)].succeeded) << i;
}

INSTANTIATE_TEST_SUITE_P(Modes, DownloadVerified,
                         testing::Values("md5", "sha1", "sha256", "fileattr", "", "true"));

TEST_F(TransferPairTest, AnotherTimeAloneCostsATransferByAttributesOnly)
{
    ASSERT_TRUE(dir.write(remote("file"), pattern(5000)));
    VeskHandler2_0_0().UpdateMtime(dir.path(remote("file")), "setup", 1000000007);
    startServer();
    for (const QString mode : {"md5", "fileattr"}) {
        ASSERT_TRUE(dir.write(local("file"), pattern(5000)));
        const Outcome outcome = download("file", {{"bVerify", mode}});
        EXPECT_TRUE(outcome.succeeded);
        EXPECT_EQ(outcome.params.value("transferEndSize"), mode == "md5" ? "" : "5000");
        EXPECT_EQ(timeOf(dir.path(local("file"))), 1000000007);
    }
    endExchange();
}

class DownloadResume : public TransferPairTest, public testing::WithParamInterface<int>
{
};

TEST_P(DownloadResume, MovesOnlyTheMissingBytes)
{
    const QByteArray content = pattern(2000000);
    const int have = content.size() / 100 * GetParam();
    ASSERT_TRUE(dir.write(remote("file"), content));
    // Bytes of its own in the part that is here already show that it is not sent again.
    const QByteArray mine(have, 'm');
    const QString temporary = VeskBase().generateTmpFilePath(dir.path(local("file")));
    ASSERT_TRUE(dir.write("local/" + temporary.section('/', -1), mine));
    startServer();
    const Outcome outcome = download("file");
    EXPECT_TRUE(outcome.succeeded);
    EXPECT_EQ(dir.read(local("file")), mine + content.mid(have));
    EXPECT_EQ(outcome.params.value("transferBeginSize"), QString::number(have));

    const std::vector<Outcome> served = endExchange();
    ASSERT_FALSE(served.empty());
    EXPECT_EQ(served[0].params.value("transferBeginSize"), QString::number(have));
    EXPECT_EQ(served[0].params.value("transferEndSize"), QString::number(content.size()));
}

INSTANTIATE_TEST_SUITE_P(PercentHere, DownloadResume, testing::Values(10, 50, 99, 100),
                         testing::PrintToStringParamName());

/// Stops a download of 30 MB in its midst and begins it anew on another connection.
class DownloadStopped : public TransferPairTest, public testing::WithParamInterface<const char *>
{
protected:
    /// The host's part: asks the handler to stop and closes the socket, once half of the file is here.
    void stopAtHalf(VeskBase &handler)
    {
        ASSERT_TRUE(eventually([&] { return QFileInfo(temporary()).size() > size / 2; }));
        const QString word = GetParam();
        if (word != "cut") {
            EXPECT_TRUE(word == "pause" ? handler.pause() : handler.cancel());
        }
        pair.closeClient();
    }

    QString temporary() const { return VeskBase().generateTmpFilePath(dir.path(local("file"))); }

    static constexpr int size = 30000000;
};

TEST_P(DownloadStopped, GoesOnWithWhatWasKept)
{
    const QString word = GetParam();
    const QByteArray content = pattern(size);
    ASSERT_TRUE(dir.write(remote("file"), content));
    startServer();
    std::optional<Background<std::function<void()>>> stopper;
    const Outcome stopped =
        run("download", {{"srcPath", "box"}, {"destPath", dir.path("local")}, {"fileName", "file"}},
            [&](VeskBase &handler) { stopper.emplace([&] { stopAtHalf(handler); }); });
    EXPECT_TRUE(stopper->wait(patience));
    EXPECT_FALSE(stopped.succeeded);
    EXPECT_EQ(stopped.lastError, word == "cut" ? "" : word);
    EXPECT_FALSE(dir.exists(local("file")));
    const qint64 kept = QFileInfo(temporary()).size();
    EXPECT_EQ(kept > size / 2, word != "cancel");

    UdtPair fresh;
    const ServerLoop server(fresh.server(), serverParams());
    const Outcome resumed =
        download("file", {{"clientSocket", QString::number(fresh.client())}, {"bVerify", "sha256"}});
    EXPECT_TRUE(resumed.succeeded);
    EXPECT_EQ(resumed.params.value("transferBeginSize"), QString::number(kept));
    EXPECT_EQ(dir.read(local("file")), content);
    EXPECT_FALSE(QFileInfo::exists(temporary()));
    fresh.closeClient();
}

INSTANTIATE_TEST_SUITE_P(Ways, DownloadStopped, testing::Values("pause", "cancel", "cut"));

TEST_F(TransferPairTest, AResumedFileThatDoesNotFitIsFetchedAnewTheNextTime)
{
    const QByteArray content = pattern(300000);
    ASSERT_TRUE(dir.write(remote("file"), content));
    const QString temporary = VeskBase().generateTmpFilePath(dir.path(local("file")));
    ASSERT_TRUE(dir.write("local/" + temporary.section('/', -1), QByteArray(1000, 'm')));
    startServer();
    EXPECT_FALSE(download("file", {{"bVerify", "sha256"}}).succeeded);
    EXPECT_FALSE(QFileInfo::exists(temporary));
    EXPECT_FALSE(dir.exists(local("file")));
    EXPECT_TRUE(download("file", {{"bVerify", "sha256"}}).succeeded);
    EXPECT_EQ(dir.read(local("file")), content);
    const std::vector<Outcome> served = endExchange();
    ASSERT_EQ(served.size(), 3U);
    EXPECT_FALSE(served[0].succeeded);
    EXPECT_TRUE(served[1].succeeded);
}

TEST_F(TransferPairTest, ALongerTemporaryFileIsDroppedAndTheFileSentWhole)
{
    const QByteArray content = pattern(3000);
    ASSERT_TRUE(dir.write(remote("file"), content));
    const QString temporary = VeskBase().generateTmpFilePath(dir.path(local("file")));
    ASSERT_TRUE(dir.write("local/" + temporary.section('/', -1), QByteArray(3001, 'm')));
    startServer();
    EXPECT_TRUE(download("file").succeeded);
    EXPECT_EQ(dir.read(local("file")), content);
    EXPECT_FALSE(QFileInfo::exists(temporary));
    endExchange();
}

TEST_F(TransferPairTest, AMissingFileLeavesTheConnectionInStepAndTheTemporaryFileInPlace)
{
    const QString temporary = VeskBase().generateTmpFilePath(dir.path(local("file")));
    ASSERT_TRUE(dir.write("local/" + temporary.section('/', -1), "part"));
    ASSERT_TRUE(dir.write(remote("other"), "abc"));
    startServer();
    const Outcome missing = download("file");
    EXPECT_FALSE(missing.succeeded);
    EXPECT_EQ(missing.lastError, "FileNotExist");
    EXPECT_TRUE(QFileInfo::exists(temporary));
    EXPECT_TRUE(download("other").succeeded);
    EXPECT_EQ(dir.read(local("other")), QByteArray("abc"));
    const std::vector<Outcome> served = endExchange();
    ASSERT_EQ(served.size(), 3U);
    EXPECT_FALSE(served[0].succeeded);
}

} // namespace
