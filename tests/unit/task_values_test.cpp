#include "tests/support/background.h"
#include "tests/support/memory_cache.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/settled_file.h"
#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"
#include "vesk_base/verify_value.h"
#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr qint64 oneSecond = 1000000000; // ns

void setModificationTime(const QString &path, qint64 timeNs)
{
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = timeNs / oneSecond;
    times[1].tv_nsec = timeNs % oneSecond;
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
}

TEST(FileState, IsThatOfTheFileThatALinkLeadsTo)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    ASSERT_TRUE(QFile::link(directory.path("file"_s), directory.path("link"_s)));
    setModificationTime(directory.path("file"_s), 1234567890 * oneSecond + 123456789);
    struct stat status;
    ASSERT_EQ(::stat(QFile::encodeName(directory.path("file"_s)).constData(), &status), 0);

    const std::optional<FileState> state = readFileState(directory.path("link"_s));
    ASSERT_TRUE(state);
    EXPECT_EQ(state->device, status.st_dev);
    EXPECT_EQ(state->inode, status.st_ino);
    EXPECT_EQ(state->size, 4);
    EXPECT_EQ(state->mtimeNs, 1234567890 * oneSecond + 123456789);
    EXPECT_EQ(state->ctimeNs, status.st_ctim.tv_sec * oneSecond + status.st_ctim.tv_nsec);
    EXPECT_TRUE(state == readFileState(directory.path("file"_s)));
}

TEST(FileState, IsOnlyKnownOfRegularFiles)
{
    const TempDir directory;
    ASSERT_EQ(::mkfifo(QFile::encodeName(directory.path("fifo"_s)).constData(), 0600), 0);
    for (const QString &path : {directory.path(), directory.path("fifo"_s), directory.path("missing"_s)})
        EXPECT_FALSE(readFileState(path)) << path.toStdString();
}

TEST(FileState, IsUnknownOnceTheFileIsGone)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "text"));
    const QString path = directory.path("file"_s);
    ASSERT_TRUE(readFileState(path));
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_FALSE(readFileState(path));
}

TEST(FileState, ATimeIsSettledSomeSecondsLater)
{
    EXPECT_FALSE(isSettled(100 * oneSecond, 100 * oneSecond));
    EXPECT_FALSE(isSettled(100 * oneSecond, 102 * oneSecond));
    EXPECT_TRUE(isSettled(100 * oneSecond, 102 * oneSecond + 1));
    EXPECT_FALSE(isSettled(100 * oneSecond, 50 * oneSecond)); // a time in the future
}

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
    const TempDir directory;
    ASSERT_TRUE(VeskBase::chmod(directory.path(), 0755));
    ASSERT_TRUE(directory.write("file"_s, "text"));
    const QString path = directory.path("file"_s);
    ASSERT_TRUE(VeskBase::chmod(path, 0));
    ASSERT_TRUE(waitUntilSettled(path));
    EXPECT_TRUE(holdsForOrdinaryUser([&] {
        const InstalledCache<> cache;
        VeskBase handler;
        return handler.getFileVerifyValue(path, ""_s).isEmpty() && cache->misses() == 1
            && cache->stores() == 0 && !handler.values().isUnchanged(path);
    }));
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
