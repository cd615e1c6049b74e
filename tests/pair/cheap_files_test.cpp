#include "tests/operation/support/operation_test.h"
#include "tests/support/memory_cache.h"
#include "tests/support/settled_file.h"

#include "vesk_base/full_packet.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

// What small and unchanged files cost, with both halves of a transfer against each other.

using namespace VESK;
using namespace VESK::Test;

namespace
{

class CheapFiles : public testing::Test
{
protected:
    /// Uploads a file to `dir`/mount, or downloads it from there to `localDirectory`.
    bool transfer(const QString &operation, const QString &localDirectory, const QString &name,
                  const QString &verifyMode)
    {
        VeskHandler2_0_0 client;
        VeskHandler2_0_0 server;
        const QString localKey = operation == "upload" ? "srcPath" : "destPath";
        const auto address = [](const std::int64_t &counter) {
            return QString::number(reinterpret_cast<std::uintptr_t>(&counter));
        };
        client.setParams({{"endPoint", "client"},
                          {"operator", operation},
                          {"fileName", name},
                          {localKey, localDirectory},
                          {"appKey", "app"},
                          {"bVerify", verifyMode},
                          {"bReplace", "false"},
                          {"clientSocket", QString::number(pair.client())},
                          {"total", address(total)},
                          {"offset", address(done)}});
        server.setParams({{"endPoint", "server"},
                          {"mountPath", dir.path("mount")},
                          {"appPath", "app:."},
                          {"fileMod", "640"},
                          {"dirMod", "750"},
                          {"serverSocket", QString::number(pair.server())}});
        const RunningTask serving(server, pair);
        const RunningTask asking(client, pair);
        return asking.result() == true && serving.result() == true;
    }

    bool upload(const QString &name, const QString &verifyMode)
    {
        return transfer("upload", dir.path("local"), name, verifyMode);
    }

    int payload() const { return packetPayload(pair.client()); }

    const LogRecorder log;
    const TempDir dir;
    UdtPair pair;
    std::int64_t total = -1;
    std::int64_t done = -1;
};

TEST_F(CheapFiles, AFileThatEndsWithAFullPacketIsNotLate)
{
    constexpr int files = 30; // each would be 0.1 s late
    for (int i = 0; i < files; ++i)
        ASSERT_TRUE(dir.write("local/" + QString::number(i), pattern(payload() * (i % 7 + 1))));
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < files; ++i)
        ASSERT_TRUE(upload(QString::number(i), "false"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(files * 75));
    for (int i = 0; i < files; ++i)
        EXPECT_EQ(dir.read("mount/" + QString::number(i)), pattern(payload() * (i % 7 + 1)));
}

TEST_F(CheapFiles, SizesAroundPacketsAndBlocksArriveWhole)
{
    constexpr int block = 364000; // bytes that the sender hands over at a time
    for (const int whole : {payload(), 2 * payload(), block, block + payload(), 2 * block}) {
        for (const int size : {whole - 1, whole, whole + 1}) {
            const QString name = QString::number(size);
            ASSERT_TRUE(dir.write("local/" + name, pattern(size)));
            ASSERT_TRUE(upload(name, "xxh128")) << size;
            EXPECT_EQ(dir.read("mount/" + name), pattern(size)) << size;
            EXPECT_EQ(done, size);
        }
    }
}

TEST_F(CheapFiles, APartialFileThatLacksAFullPacketIsCompleted)
{
    const QByteArray content = pattern(5 * payload());
    ASSERT_TRUE(dir.write("local/file", content));
    const QString temporary = VeskBase().generateTmpFilePath("file");
    ASSERT_TRUE(dir.write("mount/" + temporary, content.left(4 * payload())));
    ASSERT_TRUE(upload("file", "xxh128"));
    EXPECT_EQ(dir.read("mount/file"), content);
}

TEST_F(CheapFiles, AnUploadThatIsRepeatedReadsNoFile)
{
    const QFileInfo source(settledFile());
    ASSERT_TRUE(source.isFile());
    const InstalledCache<> cache;
    ASSERT_TRUE(transfer("upload", source.path(), source.fileName(), "xxh128"));
    EXPECT_EQ(cache->entries().size(), 2U);
    EXPECT_EQ(cache->hits(), 0);
    const int misses = cache->misses();
    for (int again = 1; again <= 3; ++again) {
        ASSERT_TRUE(transfer("upload", source.path(), source.fileName(), "xxh128"));
        EXPECT_EQ(cache->hits(), 2 * again);
    }
    EXPECT_EQ(cache->misses(), misses);
}

TEST_F(CheapFiles, ADownloadThatIsRepeatedReadsNoFile)
{
    const QFileInfo source(settledFile());
    ASSERT_TRUE(source.isFile());
    ASSERT_TRUE(dir.mkdir("mount"));
    ASSERT_TRUE(QFile::link(source.filePath(), dir.path("mount/file")));
    const InstalledCache<> cache;
    ASSERT_TRUE(transfer("download", dir.path("local"), "file", "sha256"));
    EXPECT_EQ(cache->entries().size(), 2U);
    const int misses = cache->misses();
    ASSERT_TRUE(transfer("download", dir.path("local"), "file", "sha256"));
    EXPECT_EQ(cache->hits(), 2);
    EXPECT_EQ(cache->misses(), misses);
}

// The client's file has another time than the server's, which takes it over: that is no change of contents.
TEST_F(CheapFiles, AFileThatOnlyTakesANewTimeIsStillKnown)
{
    const QFileInfo source(settledFile());
    ASSERT_TRUE(source.isFile());
    const InstalledCache<> cache;
    ASSERT_TRUE(transfer("upload", source.path(), source.fileName(), "xxh128"));
    const QString target = dir.path("mount/" + source.fileName());
    VeskHandler2_0_0 later;
    EXPECT_FALSE(later.getFileVerifyValue(target, "xxh128").isEmpty());
    ASSERT_TRUE(later.values().isUnchanged(target));
    later.UpdateMtime(target, "test", 1234567890);
    later.values().keepFor(target);
    const int misses = cache->misses();
    ASSERT_TRUE(transfer("upload", source.path(), source.fileName(), "xxh128"));
    EXPECT_EQ(cache->misses(), misses);
    EXPECT_EQ(QFileInfo(target).lastModified().toSecsSinceEpoch(), source.lastModified().toSecsSinceEpoch());
}

TEST_F(CheapFiles, ARejectedFileIsForgottenBySender)
{
    const QFileInfo source(settledFile());
    ASSERT_TRUE(source.isFile());
    const InstalledCache<> cache;
    cache->store(*readFileState(source.filePath()), "xxh128", "1-wrong");
    EXPECT_FALSE(transfer("upload", source.path(), source.fileName(), "xxh128"));
    EXPECT_TRUE(cache->entries().empty());
}

} // namespace
