#include "tests/host/program.h"
#include "tests/support/temp_dir.h"

#include "host/verify_cache/verify_database.h"

#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>

#include <fcntl.h>
#include <sys/stat.h>

using namespace VESK;
using namespace VESK::Host;
using namespace VESK::Test;

namespace
{

constexpr qint64 littleReading = 1 << 20;

class CachedRun : public testing::Test
{
protected:
    static constexpr qint64 fileSize = 8 << 20; // bytes

    CachedRun()
    {
        EXPECT_TRUE(directory.write("local/file"_s, pattern(fileSize)));
        EXPECT_TRUE(directory.mkdir("share"_s));
        const timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
        EXPECT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(source).constData(), times, 0), 0);
        EXPECT_TRUE(waitUntil([this] { return isSettled(readFileState(source)->ctimeNs, fileClockNs()); }));
        server = std::make_unique<ServerProgram>(directory.path("share"_s), 0,
                                                 QStringList{"--verify-cache"_s, serverCache});
    }

    /// Runs a verb and gives the bytes that the server read meanwhile; -1 when it fails.
    qint64 run(const QStringList &arguments)
    {
        const qint64 before = bytesRead();
        Program client(arguments);
        if (client.waitForEnd() != 0)
            return -1;
        said = client.err();
        return bytesRead() - before;
    }

    qint64 put(const QStringList &more)
    {
        return run(QStringList{"put"_s, source, server->url("share"_s), "-v"_s} + more);
    }

    qint64 bytesRead()
    {
        QFile io("/proc/%1/io"_s.arg(server->program().processId()));
        if (!io.open(QIODevice::ReadOnly))
            return -1;
        const QByteArray text = io.readAll();
        return text.mid(7, text.indexOf('\n') - 7).toLongLong(); // after "rchar: "
    }

    const TempDir directory{};
    const QString source = directory.path("local/file"_s);
    const QString clientCache = directory.path("client.sqlite"_s);
    const QString serverCache = directory.path("server.sqlite"_s);
    const QStringList cached{"--verify-cache"_s, clientCache};
    std::unique_ptr<ServerProgram> server;
    QString said;
};

TEST_F(CachedRun, AFileThatWasJustReceivedIsNotReadAgain)
{
    const qint64 first = put(cached);
    EXPECT_GE(first, fileSize); // what was received is verified
    const qint64 second = put(cached);
    EXPECT_GE(second, 0);
    EXPECT_LT(second, littleReading);
    EXPECT_EQ(directory.read("share/file"_s), pattern(fileSize));
}

TEST_F(CachedRun, ADownloadOfAnUnchangedFileReadsNothing)
{
    ASSERT_GE(put(cached), 0);
    const QStringList get{"get"_s, server->url("share/file"_s), directory.path("back"_s)};
    EXPECT_GE(run(get + cached), fileSize); // it is sent
    const qint64 second = run(get + cached);
    EXPECT_GE(second, 0);
    EXPECT_LT(second, littleReading);
    EXPECT_EQ(directory.read("back/file"_s), pattern(fileSize));
}

TEST_F(CachedRun, AChangedTargetIsReadAndReplaced)
{
    ASSERT_GE(put(cached), 0);
    QFile target(directory.path("share/file"_s));
    ASSERT_TRUE(target.open(QIODevice::ReadWrite));
    target.write("changed in place");
    target.close();
    const timespec times[2] = {{1000000000, 0}, {1000000000, 0}}; // as it was: ctime tells all the same
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(target.fileName()).constData(), times, 0), 0);
    EXPECT_GE(put(cached), fileSize);
    EXPECT_EQ(directory.read("share/file"_s), pattern(fileSize));
}

TEST_F(CachedRun, WithoutTheCacheEveryFileIsRead)
{
    server =
        std::make_unique<ServerProgram>(directory.path("share"_s), 0, QStringList{"--no-verify-cache"_s});
    const QStringList uncached{"--no-verify-cache"_s};
    EXPECT_GE(put(uncached), fileSize);
    EXPECT_GE(put(uncached), fileSize);
    EXPECT_FALSE(QFile::exists(serverCache));
    EXPECT_FALSE(QFile::exists(clientCache));
}

// As when a program changes a mapped file, which need not show in its times.
TEST_F(CachedRun, AWrongValueIsForgottenAndTheFileSentAgain)
{
    QString error;
    const auto database = VerifyDatabase::open(clientCache, &error);
    ASSERT_TRUE(database) << error.toStdString();
    ASSERT_TRUE(database->store(*readFileState(source), "xxh128"_s, "1-wrong"_s));
    EXPECT_GE(put(cached), 0);
    EXPECT_TRUE(said.contains("warning: file: "_s)) << said.toStdString();
    EXPECT_EQ(directory.read("share/file"_s), pattern(fileSize));
}

TEST_F(CachedRun, ABrokenCacheIsToldOnceAndFailsNothing)
{
    ASSERT_TRUE(directory.write("client.sqlite"_s, QByteArray(5000, 'x')));
    ASSERT_TRUE(VeskBase::chmod(clientCache, 0600));
    ASSERT_TRUE(directory.write("local/other"_s, "text"));
    EXPECT_GE(
        run(QStringList{"put"_s, source, directory.path("local/other"_s), server->url("share"_s)} + cached),
        0);
    EXPECT_EQ(said.count("is not used: file is not a database"_s), 1) << said.toStdString();
    EXPECT_EQ(directory.read("share/other"_s), QByteArray("text"));
}

} // namespace
