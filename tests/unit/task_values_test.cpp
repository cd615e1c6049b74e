#include "tests/support/background.h"
#include "tests/support/memory_cache.h"
#include "tests/support/settled_file.h"
#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"
#include "vesk_base/verify_value.h"
#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>

using namespace VESK;
using namespace VESK::Test;

namespace
{

TEST(TaskValues, AFileThatIsKnownIsNotReadAgain)
{
    const QString path = settledFile();
    ASSERT_FALSE(path.isEmpty());
    const InstalledCache<> cache;
    VeskBase first;
    const QString value = first.getFileVerifyValue(path, "xxh128"_s);
    EXPECT_EQ(value, fileVerifyValue(path, "xxh128"_s));
    ASSERT_EQ(cache->entries().size(), 1U);
    const MemoryCache::Entry entry = cache->entries().front();
    EXPECT_EQ(entry.value, value);
    EXPECT_TRUE(entry.state == readFileState(path));

    cache->store(entry.state, entry.algorithm, "what the cache says"_s);
    VeskBase second;
    EXPECT_EQ(second.getFileVerifyValue(path, "xxh128"_s), "what the cache says"_s);
}

TEST(TaskValues, EveryAlgorithmIsKeptForItself)
{
    const QString path = settledFile();
    ASSERT_FALSE(path.isEmpty());
    const InstalledCache<> cache;
    VeskBase handler;
    for (const char *mode : {"md5", "sha1", "sha256", "fileattr", "xxh128", "true", ""})
        EXPECT_EQ(handler.getFileVerifyValue(path, QLatin1String(mode)),
                  fileVerifyValue(path, QLatin1String(mode)))
            << mode;
    EXPECT_EQ(cache->entries().size(), 5U);
    EXPECT_EQ(cache->hits(), 2); // "true" and "" mean the same as "xxh128"
}

TEST(TaskValues, AFileThatHasJustChangedIsNotKept)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    setModificationTime(directory.path("file"_s), 1000000000 * oneSecond); // says nothing: anybody can set it
    const InstalledCache<> cache;
    VeskBase handler;
    EXPECT_EQ(handler.getFileVerifyValue(directory.path("file"_s), ""_s),
              fileVerifyValue(directory.path("file"_s), ""_s));
    EXPECT_EQ(cache->misses(), 1);
    EXPECT_TRUE(cache->entries().empty());
}

TEST(TaskValues, APartialFileIsAlwaysRead)
{
    const TempDir directory;
    const QString partial = temporaryPath(directory.path("file"_s));
    QFile file(partial);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("text");
    file.close();
    const InstalledCache<> cache;
    cache->store(*readFileState(partial), "xxh128"_s, "what the cache says"_s);
    VeskBase handler;
    EXPECT_EQ(handler.getFileVerifyValue(partial, "xxh128"_s), fileVerifyValue(partial, "xxh128"_s));
}

TEST(TaskValues, WhatIsNoFileHasNoValueAndIsNotKept)
{
    const TempDir directory;
    const InstalledCache<> cache;
    VeskBase handler;
    EXPECT_EQ(handler.getFileVerifyValue(directory.path("missing"_s), ""_s), QString());
    EXPECT_EQ(handler.getFileVerifyValue(directory.path(), ""_s), QString());
    EXPECT_TRUE(cache->entries().empty());
}

// Lets the file grow just when it is about to be read.
class MeddlingCache : public MemoryCache
{
public:
    QString find(const FileState &state, const QString &algorithm) override
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::Append) && file.write("more") == 4);
        return MemoryCache::find(state, algorithm);
    }

    QString path;
};

TEST(TaskValues, AFileThatChangesWhileItIsReadIsNotKept)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    const InstalledCache<MeddlingCache> cache;
    cache->path = directory.path("file"_s);
    ASSERT_TRUE(waitUntilSettled(cache->path));
    VeskBase handler;
    EXPECT_FALSE(handler.getFileVerifyValue(cache->path, ""_s).isEmpty());
    EXPECT_TRUE(cache->entries().empty());
    EXPECT_FALSE(handler.values().isUnchanged(cache->path));
}

TEST(TaskValues, AFileThatCannotBeReadIsNotKept)
{
    const QString path = "/proc/self/mem"_s; // nothing is mapped at its beginning
    ASSERT_TRUE(waitUntilSettled(path));
    const InstalledCache<> cache;
    VeskBase handler;
    EXPECT_EQ(handler.getFileVerifyValue(path, ""_s), QString());
    EXPECT_EQ(cache->stores(), 0);
    EXPECT_FALSE(handler.values().isUnchanged(path));
}

TEST(TaskValues, AreOfTheLastFileOnly)
{
    const QString path = settledFile();
    ASSERT_FALSE(path.isEmpty());
    const InstalledCache<> cache;
    VeskBase handler;
    EXPECT_FALSE(handler.values().isUnchanged(path));
    EXPECT_FALSE(handler.getFileVerifyValue(path, "xxh128"_s).isEmpty());
    EXPECT_TRUE(handler.values().isUnchanged(path));
    EXPECT_EQ(handler.getFileVerifyValue(path + " missing"_s, "xxh128"_s), QString());
    EXPECT_FALSE(handler.values().isUnchanged(path));
}

TEST(TaskValues, AreKeptOnce)
{
    const QString path = settledFile();
    ASSERT_FALSE(path.isEmpty());
    const InstalledCache<> cache;
    for (int round = 0; round < 2; ++round) {
        VeskBase handler;
        EXPECT_FALSE(handler.getFileVerifyValue(path, "xxh128"_s).isEmpty());
        EXPECT_TRUE(handler.values().isUnchanged(path));
        handler.values().keepFor(path);
        EXPECT_EQ(cache->stores(), 1) << round;
    }
}

// A file that was received, verified and put in its place.
class PlacedFile : public testing::Test
{
protected:
    PlacedFile()
    {
        QFile file(partial);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("text");
        file.close();
        value = handler.getFileVerifyValue(partial, "sha256"_s);
    }

    void place()
    {
        ASSERT_TRUE(VeskBase::chmod(partial, 0640));
        ASSERT_TRUE(QFile::rename(partial, target));
    }

    const TempDir directory{};
    const QString target = directory.path("file"_s);
    const QString partial = temporaryPath(target);
    const InstalledCache<> cache{};
    VeskBase handler;
    QString value;
};

TEST_F(PlacedFile, IsKnownToTheNextTask)
{
    place();
    ASSERT_TRUE(handler.values().isUnchanged(target));
    setModificationTime(target, 1234567890 * oneSecond);
    handler.values().keepFor(target);
    ASSERT_EQ(cache->entries().size(), 1U);
    EXPECT_TRUE(cache->entries().front().state == readFileState(target));

    VeskBase next;
    EXPECT_EQ(next.getFileVerifyValue(target, "sha256"_s), value);
    EXPECT_EQ(cache->hits(), 1);
    handler.values().keepFor(target);
    EXPECT_EQ(cache->stores(), 1) << "it is kept already";
}

TEST_F(PlacedFile, IsNotKeptWithoutACache)
{
    place();
    setModificationTime(target, 1234567890 * oneSecond);
    setVerifyCache(nullptr);
    handler.values().keepFor(target);
    EXPECT_EQ(cache->stores(), 0);
}

TEST_F(PlacedFile, IsNotTheSameOnceItIsGone)
{
    EXPECT_FALSE(handler.values().isUnchanged(target)) << "not placed yet";
    handler.values().keepFor(target);
    EXPECT_TRUE(cache->entries().empty());
}

TEST_F(PlacedFile, IsNotTheSameWhenItsSizeIsAnother)
{
    place();
    const std::optional<FileState> state = readFileState(target);
    ASSERT_TRUE(state);
    ASSERT_TRUE(QFile::resize(target, 3));
    setModificationTime(target, state->mtimeNs);
    EXPECT_FALSE(handler.values().isUnchanged(target));
}

TEST_F(PlacedFile, IsNotKeptWhenItsTimeIsOfToday)
{
    place();
    setModificationTime(target, fileClockNs());
    handler.values().keepFor(target);
    EXPECT_TRUE(cache->entries().empty());
}

TEST_F(PlacedFile, IsNotTheSameOnceItWasWrittenTo)
{
    place();
    QFile file(target);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.write("other");
    file.close();
    EXPECT_FALSE(handler.values().isUnchanged(target));
    handler.values().keepFor(target);
    EXPECT_TRUE(cache->entries().empty());
}

TEST_F(PlacedFile, IsNotTheSameWhenItsTimeWasSetByOthers)
{
    place();
    setModificationTime(target, 1000000000 * oneSecond);
    EXPECT_FALSE(handler.values().isUnchanged(target));
}

TEST_F(PlacedFile, IsNoOtherFileOfTheName)
{
    ASSERT_TRUE(directory.write("file"_s, "text"));
    const std::optional<FileState> state = readFileState(partial);
    ASSERT_TRUE(state);
    setModificationTime(target, state->mtimeNs);
    EXPECT_FALSE(handler.values().isUnchanged(target));
    setModificationTime(target, 1000000000 * oneSecond);
    handler.values().keepFor(target);
    EXPECT_TRUE(cache->entries().empty());
}

TEST(TaskValues, ForgetsAValueThatThePeerFoundWrong)
{
    const QString path = settledFile();
    ASSERT_FALSE(path.isEmpty());
    const InstalledCache<> cache;
    VeskBase handler;
    EXPECT_FALSE(handler.getFileVerifyValue(path, "xxh128"_s).isEmpty());
    ASSERT_EQ(cache->entries().size(), 1U);
    handler.values().forget();
    EXPECT_TRUE(cache->entries().empty());
    EXPECT_FALSE(handler.values().isUnchanged(path));
    handler.values().keepFor(path);
    handler.values().forget();
    EXPECT_EQ(cache->stores(), 1);
}

TEST(TaskValues, ForgetsAValueThatTheCacheGave)
{
    const QString path = settledFile();
    ASSERT_FALSE(path.isEmpty());
    const InstalledCache<> cache;
    cache->store(*readFileState(path), "xxh128"_s, "what the cache says"_s);
    VeskBase handler;
    EXPECT_EQ(handler.getFileVerifyValue(path, "xxh128"_s), "what the cache says"_s);
    EXPECT_TRUE(handler.values().isUnchanged(path));
    handler.values().forget();
    EXPECT_TRUE(cache->entries().empty());
}

TEST(TaskValues, OutliveTheCache)
{
    const QString path = settledFile();
    ASSERT_FALSE(path.isEmpty());
    VeskBase handler;
    {
        const InstalledCache<> cache;
        EXPECT_FALSE(handler.getFileVerifyValue(path, "xxh128"_s).isEmpty());
    }
    EXPECT_TRUE(handler.values().isUnchanged(path));
    handler.values().keepFor(path);
    handler.values().forget();
    EXPECT_FALSE(handler.values().isUnchanged(path));
}

TEST(TaskValues, NeedNoCache)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    VeskBase handler;
    EXPECT_EQ(handler.getFileVerifyValue(directory.path("file"_s), "sha1"_s),
              fileVerifyValue(directory.path("file"_s), "sha1"_s));
    EXPECT_FALSE(handler.values().isUnchanged(directory.path("file"_s)));
    handler.values().keepFor(directory.path("file"_s));
    handler.values().forget();
}

// Uses whatever a cache might be tempted to: no lock is held meanwhile.
class CuriousCache : public MemoryCache
{
public:
    QString find(const FileState &state, const QString &algorithm) override
    {
        handler->setParam("asked"_s, algorithm);
        handler->log("debug"_s, "asked"_s);
        setVerifyCache(nullptr);
        return MemoryCache::find(state, algorithm);
    }

    VeskBase *handler = nullptr;
};

TEST(TaskValues, TheCacheIsCalledWithoutALock)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    VeskBase handler;
    const InstalledCache<CuriousCache> cache;
    cache->handler = &handler;
    const Background asking([&] { return handler.getFileVerifyValue(directory.path("file"_s), "md5"_s); });
    const std::optional<QString> value = asking.wait(std::chrono::seconds(10));
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, fileVerifyValue(directory.path("file"_s), "md5"_s));
    EXPECT_EQ(handler.getParam("asked"_s), "md5"_s);
}

} // namespace
