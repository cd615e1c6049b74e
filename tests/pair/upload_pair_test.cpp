#include "tests/operation/support/operation_test.h"

#include "vesk_2_0_0/handler/file_times.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <tuple>

// Both halves of an upload against each other.

using namespace VESK;
using namespace VESK::Test;

namespace
{

using Settings = std::function<void(VeskBase &)>;

/// What a task came to at both ends, and the handlers to ask for more.
struct Outcome {
    std::optional<bool> client;
    std::optional<bool> server;
    ParamMap clientParams;
    ParamMap serverParams;
    QStringList clientLog;
    QStringList serverLog;
};

class UploadPair : public testing::Test
{
protected:
    /// Runs one upload of `dir`/local/file.bin on the connection.
    Outcome upload(const Settings &clientSettings = {}, const Settings &serverSettings = {},
                   const std::function<void(VeskHandler2_0_0 &)> &meanwhile = {})
    {
        VeskHandler2_0_0 client;
        VeskHandler2_0_0 server;
        // Earlier handlers may have stood at the same addresses.
        const int earlierOfClient = log.lines(&client).size();
        const int earlierOfServer = log.lines(&server).size();
        client.setParams({{"endPoint", "client"},
                          {"operator", "upload"},
                          {"fileName", "file.bin"},
                          {"srcPath", dir.path("local")},
                          {"destPath", "in"},
                          {"rootPath", "root"},
                          {"appKey", "app"},
                          {"bVerify", "false"},
                          {"bReplace", "false"},
                          {"clientSocket", QString::number(pair.client())},
                          {"total", address(total)},
                          {"offset", address(done)}});
        server.setParams({{"endPoint", "server"},
                          {"mountPath", dir.path("mount")},
                          {"appPath", "app:area"},
                          {"fileMod", "640"},
                          {"dirMod", "750"},
                          {"serverSocket", QString::number(pair.server())}});
        if (clientSettings)
            clientSettings(client);
        if (serverSettings)
            serverSettings(server);

        Outcome outcome;
        {
            const RunningTask serving(server, pair);
            const RunningTask uploading(client, pair);
            if (meanwhile)
                meanwhile(server);
            outcome.client = uploading.result(limit);
            outcome.server = serving.result(limit);
        }
        client.getParams(outcome.clientParams);
        server.getParams(outcome.serverParams);
        outcome.clientLog = log.lines(&client).mid(earlierOfClient);
        outcome.serverLog = log.lines(&server).mid(earlierOfServer);
        return outcome;
    }

    Outcome uploadVerifiedBy(const QString &mode)
    {
        return upload([&](VeskBase &client) { client.setParam("bVerify", mode); });
    }

    static QString address(const std::int64_t &counter)
    {
        return QString::number(reinterpret_cast<std::uintptr_t>(&counter));
    }

    QByteArray stored() const { return dir.read("mount/area/root/in/file.bin"); }
    QString target() const { return dir.path("mount/area/root/in/file.bin"); }
    static QString temporaryOf(const QString &path) { return VeskBase().generateTmpFilePath(path); }

    static constexpr std::chrono::seconds limit{25};
    const LogRecorder log;
    const TempDir dir;
    UdtPair pair;
    std::int64_t total = -7;
    std::int64_t done = -7;
};

class UploadOfSize : public UploadPair, public testing::WithParamInterface<int>
{
};

TEST_P(UploadOfSize, ArrivesWhole)
{
    const int size = GetParam();
    ASSERT_TRUE(dir.write("local/file.bin", pattern(size)));
    VeskHandler2_0_0().UpdateMtime(dir.path("local/file.bin"), "test", 1234567890);
    const Outcome outcome = uploadVerifiedBy("xxh128");
    EXPECT_EQ(outcome.client, true);
    EXPECT_EQ(outcome.server, true);
    EXPECT_EQ(stored(), pattern(size));
    EXPECT_EQ(modificationTime(QFileInfo(target())), 1234567890);
    EXPECT_EQ(total, size);
    EXPECT_EQ(done, size);
    for (const ParamMap &params : {outcome.clientParams, outcome.serverParams}) {
        EXPECT_EQ(params.value("transferBeginSize"), "0");
        EXPECT_EQ(params.value("transferEndSize"), QString::number(size));
    }
    EXPECT_EQ(outcome.serverParams.value("respondStatus"), "success");
    EXPECT_EQ(outcome.clientLog, QStringList());
    EXPECT_EQ(outcome.serverLog,
              QStringList({"info|uploadRespond: " + target() + " ...", "info|uploadRespond: recv mac: ",
                           "debug|uploadRespond: set [" + target() + "] mtime [1234567890] finished!"}));
    EXPECT_FALSE(QFileInfo::exists(temporaryOf(target())));
}

// Around a packet's data and around the block that the sender reads.
INSTANTIATE_TEST_SUITE_P(Sizes, UploadOfSize,
                         testing::Values(0, 1, 1455, 1456, 1457, 363999, 364000, 364001, 5 << 20));

class UploadVerifiedBy : public UploadPair, public testing::WithParamInterface<const char *>
{
};

TEST_P(UploadVerifiedBy, ArrivesAndASecondOneSendsNothing)
{
    constexpr int size = 3 << 20; // so that mode "fileattr" samples
    ASSERT_TRUE(dir.write("local/file.bin", pattern(size)));
    VeskHandler2_0_0().UpdateMtime(dir.path("local/file.bin"), "test", 1234567890);
    const Outcome first = uploadVerifiedBy(GetParam());
    EXPECT_EQ(first.client, true);
    EXPECT_EQ(first.server, true);
    EXPECT_EQ(stored(), pattern(size));

    const Outcome second = uploadVerifiedBy(GetParam());
    EXPECT_EQ(second.client, true);
    EXPECT_EQ(second.server, true);
    EXPECT_EQ(second.clientParams.value("transferEndSize"), "");
    EXPECT_EQ(second.clientLog,
              QStringList{"info|uploadRequest: file " + dir.path("local/file.bin") + " second pass."});
    EXPECT_EQ(second.serverLog.value(2), "info|uploadRespond: file " + target() + " second pass.");
}

INSTANTIATE_TEST_SUITE_P(Modes, UploadVerifiedBy,
                         testing::Values("xxh128", "md5", "sha1", "sha256", "fileattr", "", "false"));

TEST_F(UploadPair, WithVerificationAChangedFileIsSentAgain)
{
    ASSERT_TRUE(dir.write("local/file.bin", pattern(5000, 1)));
    ASSERT_EQ(uploadVerifiedBy("md5").client, true);
    ASSERT_TRUE(dir.write("local/file.bin", pattern(5000, 2)));
    EXPECT_EQ(uploadVerifiedBy("md5").client, true);
    EXPECT_EQ(stored(), pattern(5000, 2));
}

TEST_F(UploadPair, WithFileattrAnotherTimeIsEnoughToSendAgain)
{
    ASSERT_TRUE(dir.write("local/file.bin", pattern(5000)));
    ASSERT_EQ(uploadVerifiedBy("fileattr").client, true);
    VeskHandler2_0_0().UpdateMtime(dir.path("local/file.bin"), "test", 1234567890);
    const Outcome outcome = uploadVerifiedBy("fileattr");
    EXPECT_EQ(outcome.client, true);
    EXPECT_EQ(outcome.clientParams.value("transferEndSize"), "5000");
    EXPECT_EQ(modificationTime(QFileInfo(target())), 1234567890);
}

TEST_F(UploadPair, ADamagedPartialFileIsDroppedAndTheNextAttemptStartsAnew)
{
    ASSERT_TRUE(dir.write("local/file.bin", pattern(5000)));
    ASSERT_TRUE(dir.mkdir("mount/area/root/in"));
    QFile partial(temporaryOf(target()));
    ASSERT_TRUE(partial.open(QIODevice::WriteOnly));
    partial.write(pattern(1000, 99));
    partial.close();

    const Outcome first = uploadVerifiedBy("sha1");
    EXPECT_EQ(first.client, false);
    EXPECT_EQ(first.server, false);
    EXPECT_EQ(first.clientParams.value("transferBeginSize"), "1000");
    EXPECT_EQ(first.clientLog, QStringList{"error|uploadRequest: FileVerifyResult error."});
    EXPECT_EQ(first.serverLog.last(), "error|uploadRespond: FileVerify failed.");

    const Outcome second = uploadVerifiedBy("sha1");
    EXPECT_EQ(second.client, true);
    EXPECT_EQ(second.clientParams.value("transferBeginSize"), "0");
    EXPECT_EQ(stored(), pattern(5000));
}

class UploadResumedAt : public UploadPair, public testing::WithParamInterface<int>
{
};

TEST_P(UploadResumedAt, SendsOnlyWhatIsMissing)
{
    constexpr int size = 1000000;
    const int begin = size / 100 * GetParam();
    ASSERT_TRUE(dir.write("local/file.bin", pattern(size)));
    ASSERT_TRUE(dir.mkdir("mount/area/root/in"));
    // Without verification, what is there already may be anything: it shows that it was not sent again.
    QFile partial(temporaryOf(target()));
    ASSERT_TRUE(partial.open(QIODevice::WriteOnly));
    ASSERT_EQ(partial.write(QByteArray(begin, '#')), begin);
    partial.close();

    const Outcome outcome = upload();
    EXPECT_EQ(outcome.client, true);
    EXPECT_EQ(outcome.server, true);
    EXPECT_EQ(stored(), QByteArray(begin, '#') + pattern(size).mid(begin));
    EXPECT_EQ(done, size);
    for (const ParamMap &params : {outcome.clientParams, outcome.serverParams}) {
        EXPECT_EQ(params.value("transferBeginSize"), QString::number(begin));
        EXPECT_EQ(params.value("transferEndSize"), QString::number(size));
    }
}

INSTANTIATE_TEST_SUITE_P(Percentages, UploadResumedAt, testing::Values(10, 50, 99, 100));

TEST_F(UploadPair, GoesOnAfterThePauseOfTheServer)
{
    constexpr int size = 64 << 20;
    ASSERT_TRUE(dir.write("local/file.bin", pattern(size)));
    const QString partial = temporaryOf(target());
    const Outcome first = upload({}, {}, [&](VeskHandler2_0_0 &server) {
        EXPECT_TRUE(eventually([&] { return QFileInfo(partial).size() > size / 10; }));
        EXPECT_TRUE(server.pause());
        pair.closeClient(); // the word of the server's close is one packet, and may get lost
    });
    EXPECT_EQ(first.client, false);
    EXPECT_EQ(first.server, false);
    const qint64 kept = QFileInfo(partial).size();
    ASSERT_GT(kept, size / 10);
    EXPECT_FALSE(QFileInfo::exists(target()));

    UdtPair fresh;
    const Outcome second = upload(
        [&](VeskBase &client) {
            client.setParam("bVerify", "xxh128");
            client.setParam("clientSocket", QString::number(fresh.client()));
        },
        [&](VeskBase &server) { server.setParam("serverSocket", QString::number(fresh.server())); });
    EXPECT_EQ(second.client, true);
    EXPECT_EQ(second.server, true);
    EXPECT_EQ(second.clientParams.value("transferBeginSize"), QString::number(kept));
    EXPECT_EQ(done, size);
    EXPECT_EQ(stored(), pattern(size));
}

TEST_F(UploadPair, MovesALargeFile)
{
    constexpr int size = 64 << 20;
    ASSERT_TRUE(dir.write("local/file.bin", pattern(size)));
    const Outcome outcome = uploadVerifiedBy("xxh128");
    EXPECT_EQ(outcome.client, true);
    EXPECT_EQ(outcome.server, true);
    EXPECT_EQ(stored(), pattern(size));
    EXPECT_EQ(done, size);
}

TEST_F(UploadPair, TasksFollowEachOtherOnOneConnectionUntilTheClientLeaves)
{
    for (const int size : {5000, 0, 400000, 1, 1456}) {
        ASSERT_TRUE(dir.write("local/file.bin", pattern(size)));
        const Outcome outcome = upload([](VeskBase &client) {
            client.setParams({{"bVerify", "md5"}, {"mac", "m"}});
        });
        EXPECT_EQ(outcome.client, true);
        EXPECT_EQ(outcome.server, true);
        EXPECT_EQ(stored(), pattern(size));
    }

    ScriptedPeer client(pair.client(), "client");
    VeskHandler2_0_0 server;
    server.setParams({{"endPoint", "server"}, {"serverSocket", QString::number(pair.server())}});
    const RunningTask serving(server, pair);
    ASSERT_TRUE(client.sendMap(MessageKind::TaskParam, {{"operator", "return"}}));
    EXPECT_EQ(serving.result(), false);
    EXPECT_EQ(server.getLastError(), "return");
    EXPECT_EQ(server.getParam("respondStatus"), "");
}

TEST_F(UploadPair, AFailedTaskLeavesTheConnectionUsable)
{
    ASSERT_TRUE(dir.write("local/file.bin", "text"));
    const Outcome missing =
        upload([](VeskBase &client) { client.setParam("fileName", "missing"); }, {},
               [&](VeskHandler2_0_0 &) {
                   ScriptedPeer client(pair.client(), "client");
                   EXPECT_TRUE(client.sendMap(MessageKind::TaskParam, {{"operator", "none"}}));
               });
    EXPECT_EQ(missing.client, false);
    EXPECT_EQ(missing.server, false);
    EXPECT_EQ(missing.serverLog, QStringList{"error|respond: not found operator [none]."});
    EXPECT_EQ(uploadVerifiedBy("md5").client, true);
}

TEST_F(UploadPair, TwoUploadsRunSideBySide)
{
    ASSERT_TRUE(dir.write("local/file.bin", pattern(2 << 20)));
    ASSERT_TRUE(dir.write("local/other.bin", pattern(2 << 20, 2)));
    UdtPair fresh;
    std::int64_t otherTotal = 0;
    std::int64_t otherDone = 0;
    const Background other([&] {
        return upload(
            [&](VeskBase &client) {
                client.setParams({{"fileName", "other.bin"},
                                  {"bVerify", "md5"},
                                  {"clientSocket", QString::number(fresh.client())},
                                  {"total", address(otherTotal)},
                                  {"offset", address(otherDone)}});
            },
            [&](VeskBase &server) { server.setParam("serverSocket", QString::number(fresh.server())); });
    });
    EXPECT_EQ(uploadVerifiedBy("md5").client, true);
    const auto outcome = other.wait(limit);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->client, true);
    EXPECT_EQ(otherDone, 2 << 20);
    EXPECT_EQ(done, 2 << 20);
    EXPECT_EQ(stored(), pattern(2 << 20));
    EXPECT_EQ(dir.read("mount/area/root/in/other.bin"), pattern(2 << 20, 2));
}

} // namespace
