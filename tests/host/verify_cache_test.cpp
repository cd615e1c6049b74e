#include "tests/support/ordinary_user.h"
#include "tests/support/temp_dir.h"

#include "host/verify_cache/sqlite_verify_cache.h"
#include "host/verify_cache/verify_database.h"

#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>

#include <sqlite3.h>

#include <sys/stat.h>

#include <limits>

using namespace VESK;
using namespace VESK::Host;
using namespace VESK::Test;

namespace
{

const FileState someState{7, 42, 1234567, 1100000000000000001, 1700000000000000002};

class VerifyCacheFile : public testing::Test
{
protected:
    std::unique_ptr<SqliteVerifyCache> open(qint64 sizeLimit = SqliteVerifyCache::defaultSizeLimit)
    {
        return std::make_unique<SqliteVerifyCache>(
            path, [this](const QString &sentence) { warnings.append(sentence); }, sizeLimit);
    }

    static QString find(SqliteVerifyCache &cache, const FileState &state = someState)
    {
        return cache.find(state, "xxh128"_s);
    }

    void expectUnused(const QString &reason)
    {
        const auto cache = open();
        cache->store(someState, "xxh128"_s, "value"_s);
        cache->forget(someState, "md5"_s);
        EXPECT_EQ(find(*cache), QString());
        EXPECT_EQ(find(*cache), QString());
        EXPECT_EQ(warnings,
                  QStringList{"the cache of verification values %1 is not used: %2. Files are read again "
                              "instead; the cache may be deleted at any time."_s.arg(path, reason)});
    }

    const TempDir directory{};
    const QString path = directory.path("cache/verify.sqlite"_s);
    QStringList warnings;
};

TEST_F(VerifyCacheFile, KeepsAValueForTheNextRun)
{
    {
        const auto cache = open();
        EXPECT_EQ(find(*cache), QString());
        cache->store(someState, "xxh128"_s, "value"_s);
        EXPECT_EQ(find(*cache), "value"_s);
    }
    EXPECT_EQ(find(*open()), "value"_s);
    EXPECT_EQ(warnings, QStringList());
}

TEST_F(VerifyCacheFile, EveryFieldOfTheStateCounts)
{
    open()->store(someState, "xxh128"_s, "value"_s);
    const auto cache = open();
    qint64 *const none = nullptr;
    for (int field = 0; field < 5; ++field) {
        for (const qint64 difference : {-1, 1}) {
            FileState other = someState;
            qint64 *const number = field == 0 ? &other.size
                : field == 1                  ? &other.mtimeNs
                : field == 2                  ? &other.ctimeNs
                                              : none;
            if (number != nullptr)
                *number += difference;
            else
                (field == 3 ? other.device : other.inode) += static_cast<quint64>(difference);
            EXPECT_EQ(find(*cache, other), QString()) << field << ' ' << difference;
        }
    }
    EXPECT_EQ(cache->find(someState, "sha256"_s), QString());
    EXPECT_EQ(find(*cache), "value"_s);
}

TEST_F(VerifyCacheFile, NumbersOfAnySizeAreKept)
{
    const FileState extreme{~quint64(0), quint64(1) << 63, 0, -5, std::numeric_limits<qint64>::max()};
    open()->store(extreme, "xxh128"_s, "value"_s);
    EXPECT_EQ(find(*open(), extreme), "value"_s);
}

TEST_F(VerifyCacheFile, AChangedFileTakesThePlaceOfWhatItWas)
{
    FileState later = someState;
    ++later.ctimeNs;
    {
        const auto cache = open();
        cache->store(someState, "xxh128"_s, "old"_s);
        cache->store(later, "xxh128"_s, "new"_s);
        EXPECT_EQ(find(*cache), QString());
        EXPECT_EQ(find(*cache, later), "new"_s);
    }
    const auto cache = open();
    EXPECT_EQ(find(*cache), QString());
    EXPECT_EQ(find(*cache, later), "new"_s);
}

TEST_F(VerifyCacheFile, AForgottenValueIsGone)
{
    open()->store(someState, "xxh128"_s, "value"_s);
    {
        const auto cache = open();
        cache->forget(someState, "xxh128"_s);
        EXPECT_EQ(find(*cache), QString());
    }
    EXPECT_EQ(find(*open()), QString());
}

TEST_F(VerifyCacheFile, ManyValuesAreWrittenBeforeTheEnd)
{
    const auto writer = open();
    for (quint64 inode = 0; inode < 1000; ++inode)
        writer->store({1, inode, 2, 3, 4}, "xxh128"_s, "value"_s);
    EXPECT_EQ(find(*open(), {1, 0, 2, 3, 4}), "value"_s);
}

TEST_F(VerifyCacheFile, OnlyItsOwnerMayReadIt)
{
    open()->store(someState, "xxh128"_s, "value"_s);
    struct stat status;
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    ASSERT_EQ(::stat(QFile::encodeName(directory.path("cache"_s)).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(VerifyCacheFile, IsNotMadeBeforeItIsNeeded)
{
    open();
    EXPECT_FALSE(directory.exists("cache"_s));
}

TEST_F(VerifyCacheFile, SeveralProcessesUseItAtOnce)
{
    constexpr int processes = 4;
    constexpr int values = 3000;
    std::vector<std::unique_ptr<QProcess>> users;
    for (int i = 0; i < processes; ++i) {
        users.push_back(std::make_unique<QProcess>());
        users.back()->start(QStringLiteral(VESK_VERIFY_CACHE_USER),
                            {path, QString::number(1 + i * values), QString::number(values)});
    }
    for (const auto &user : users) {
        ASSERT_TRUE(user->waitForFinished(60000));
        EXPECT_EQ(user->readAllStandardOutput(), QByteArray::number(values) + '\n');
    }
    const auto cache = open();
    for (int inode = 1; inode <= processes * values; ++inode)
        ASSERT_EQ(find(*cache, {1, static_cast<quint64>(inode), 2, 3, 4}), QString::number(inode));
}

TEST_F(VerifyCacheFile, ValuesOfNoUseGoWhenItIsFull)
{
    constexpr qint64 limit = 256 << 10;
    constexpr quint64 count = 20000; // some 70 bytes each
    {
        const auto cache = open(limit);
        for (quint64 inode = 1; inode <= count; ++inode)
            cache->store({1, inode, 2, 3, 4}, "xxh128"_s, QString(36, QLatin1Char('v')));
    }
    EXPECT_LT(QFileInfo(path).size(), 2 * limit);
    const auto cache = open(limit);
    EXPECT_EQ(find(*cache, {1, 1, 2, 3, 4}), QString());
    EXPECT_EQ(find(*cache, {1, count, 2, 3, 4}), QString(36, QLatin1Char('v')));
    EXPECT_EQ(warnings, QStringList());
}

TEST_F(VerifyCacheFile, AValueThatIsFoundCountsAsOfUse)
{
    open()->store(someState, "xxh128"_s, "value"_s);
    const auto change = [this](const char *statement) {
        sqlite3 *database = nullptr;
        EXPECT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, statement, nullptr, nullptr, nullptr), SQLITE_OK);
        const int changes = sqlite3_changes(database);
        sqlite3_close(database);
        return changes;
    };
    EXPECT_EQ(change("UPDATE verify_value SET used_ms=1"), 1);
    EXPECT_EQ(find(*open()), "value"_s);
    EXPECT_EQ(change("DELETE FROM verify_value WHERE used_ms=1"), 0);
    EXPECT_EQ(find(*open()), "value"_s);
}

TEST_F(VerifyCacheFile, WhatIsNoCacheIsNotUsedAndLeftAlone)
{
    ASSERT_TRUE(directory.write("cache/verify.sqlite"_s,
                                "my diary, and more than a hundred bytes of it: " + QByteArray(200, 'x')));
    VeskBase::chmod(path, 0600);
    const QByteArray before = directory.read("cache/verify.sqlite"_s);
    expectUnused("file is not a database"_s);
    EXPECT_EQ(directory.read("cache/verify.sqlite"_s), before);
}

TEST_F(VerifyCacheFile, DamageIsToldAndFailsNothing)
{
    {
        const auto cache = open();
        for (quint64 inode = 1; inode <= 2000; ++inode)
            cache->store({1, inode, 2, 3, 4}, "xxh128"_s, "value"_s);
    }
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    constexpr qint64 firstPage = 4096;
    ASSERT_TRUE(file.seek(firstPage));
    file.write(QByteArray(static_cast<int>(file.size() - firstPage), '\xA5'));
    file.close();

    const auto cache = open();
    EXPECT_EQ(find(*cache, {1, 1, 2, 3, 4}), QString());
    EXPECT_EQ(find(*cache, {1, 2000, 2, 3, 4}), QString());
    cache->store(someState, "xxh128"_s, "value"_s);
    EXPECT_EQ(find(*cache), QString());
    ASSERT_EQ(warnings.size(), 1);
    EXPECT_TRUE(warnings.front().contains(" is not used: database disk image is malformed. "_s))
        << warnings.front().toStdString();
}

TEST_F(VerifyCacheFile, AFileThatOthersCanWriteIsNotTrusted)
{
    open()->store(someState, "xxh128"_s, "value"_s);
    ASSERT_TRUE(VeskBase::chmod(path, 0666));
    expectUnused("others can write to it"_s);
}

TEST_F(VerifyCacheFile, ADirectoryThatCannotBeMadeFailsNothing)
{
    ASSERT_TRUE(directory.write("cache"_s, "a file"));
    expectUnused("Not a directory"_s);
}

TEST_F(VerifyCacheFile, AReadOnlyDirectoryFailsNothing)
{
    ASSERT_TRUE(directory.mkdir("cache"_s));
    ASSERT_TRUE(VeskBase::chmod(directory.path("cache"_s), 0555));
    ASSERT_TRUE(VeskBase::chmod(directory.path(), 0755));
    EXPECT_TRUE(holdsForOrdinaryUser([this] {
        expectUnused("Permission denied"_s);
        return !HasFailure();
    }));
}

TEST_F(VerifyCacheFile, OneOfAnotherVersionIsLeftAlone)
{
    open()->store(someState, "xxh128"_s, "value"_s);
    sqlite3 *database = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, "PRAGMA user_version=99", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
    expectUnused("another version has made it"_s);
}

TEST_F(VerifyCacheFile, OneThatIsBusyForLongIsDoneWithout)
{
    open()->store(someState, "xxh128"_s, "value"_s);
    sqlite3 *database = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    FileState other = someState;
    ++other.inode;
    {
        const auto cache = open();
        EXPECT_EQ(find(*cache), "value"_s); // reading goes on
        cache->store(other, "xxh128"_s, "value"_s);
    }
    sqlite3_close(database);
    EXPECT_EQ(find(*open(), other), QString());
    EXPECT_EQ(warnings, QStringList());
}

} // namespace
