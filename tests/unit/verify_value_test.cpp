#include "tests/support/background.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/sizes.h"
#include "tests/support/temp_dir.h"

#include "vesk_base/verify_value.h"
#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

using namespace VESK;
using namespace VESK::Test;

namespace
{

const char *const modes[] = {"md5", "sha1", "sha256", "fileattr", "", "true", "MD5", "anything"};

TEST(VerifyValue, OfKnownContentsIsKnown)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("empty"_s, ""));
    ASSERT_TRUE(directory.write("abc"_s, "abc"));
    const auto value = [&](const QString &name, const QString &mode) {
        return fileVerifyValue(directory.path(name), mode);
    };

    EXPECT_EQ(value("abc"_s, "md5"_s), "900150983cd24fb0d6963f7d28e17f72"_s);
    EXPECT_EQ(value("abc"_s, "sha1"_s), "a9993e364706816aba3e25717850c26c9cd0d89d"_s);
    EXPECT_EQ(value("abc"_s, "sha256"_s),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"_s);
    EXPECT_EQ(value("abc"_s, "true"_s), "3-06b05ab6733a618578af5f94892f3950"_s);
    EXPECT_EQ(value("empty"_s, "md5"_s), "d41d8cd98f00b204e9800998ecf8427e"_s);
    EXPECT_EQ(value("empty"_s, ""_s), "0-99aa06d3014798d86001c324468d497f"_s);
    EXPECT_EQ(value("empty"_s, "fileattr"_s), "0-99aa06d3014798d86001c324468d497f"_s);
}

class VerifyValueOfSize : public testing::TestWithParam<qint64>
{
protected:
    QString value(const QString &name, const char *mode) const
    {
        return m_handler->getFileVerifyValue(m_directory.path(name), QLatin1String(mode));
    }

    const TempDir m_directory{};
    const std::unique_ptr<VeskBase> m_handler = std::make_unique<VeskBase>();
};

TEST_P(VerifyValueOfSize, IsEqualForEqualContentsAtOtherTimesAndPlaces)
{
    const QByteArray content = pattern(GetParam());
    ASSERT_TRUE(m_directory.write("one"_s, content));
    ASSERT_TRUE(m_directory.write("two"_s, content));
    QFile two(m_directory.path("two"_s));
    ASSERT_TRUE(two.open(QIODevice::ReadWrite));
    ASSERT_TRUE(
        two.setFileTime(QDateTime::fromSecsSinceEpoch(1000000000), QFileDevice::FileModificationTime));
    two.close();
    for (const char *mode : modes) {
        EXPECT_FALSE(value("one"_s, mode).isEmpty()) << mode;
        EXPECT_EQ(value("one"_s, mode), value("two"_s, mode)) << mode;
    }
}

TEST_P(VerifyValueOfSize, DiffersForOtherFirstAndLastBytesAndSizes)
{
    QByteArray content = pattern(GetParam());
    ASSERT_TRUE(m_directory.write("good"_s, content));
    ASSERT_TRUE(m_directory.write("longer"_s, content + '\0'));
    for (const char *mode : modes)
        EXPECT_NE(value("good"_s, mode), value("longer"_s, mode)) << mode;
    if (content.isEmpty())
        return;
    for (const int at : {0, content.size() - 1}) {
        content[at] = static_cast<char>(~content[at]);
        ASSERT_TRUE(m_directory.write("bad"_s, content));
        for (const char *mode : modes)
            EXPECT_NE(value("good"_s, mode), value("bad"_s, mode)) << mode << " at " << at;
        content[at] = static_cast<char>(~content[at]);
    }
}

class VerifyValueOfThreeBytesOrMore : public VerifyValueOfSize
{
};

TEST_P(VerifyValueOfThreeBytesOrMore, NoticesAByteInTheMiddleUnlessItOnlySamples)
{
    QByteArray content = pattern(GetParam());
    ASSERT_TRUE(m_directory.write("good"_s, content));
    const int middle = content.size() / 2 + 12345 % content.size() / 3;
    content[middle] = static_cast<char>(content[middle] ^ 1);
    ASSERT_TRUE(m_directory.write("bad"_s, content));
    for (const char *mode : {"md5", "sha1", "sha256", "", "true"})
        EXPECT_NE(value("good"_s, mode), value("bad"_s, mode)) << mode;
    if (content.size() > mib) {
        EXPECT_NE(value("good"_s, "fileattr"), value("good"_s, "true"));
        return;
    }
    EXPECT_NE(value("good"_s, "fileattr"), value("bad"_s, "fileattr"));
    EXPECT_EQ(value("good"_s, "fileattr"), value("good"_s, "true"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, VerifyValueOfSize,
                         testing::Values(0, 1, 64 * kib - 1, 64 * kib, 64 * kib + 1, mib - 1, mib, mib + 1,
                                         2 * mib + 17, 16 * mib));

INSTANTIATE_TEST_SUITE_P(Sizes, VerifyValueOfThreeBytesOrMore,
                         testing::Values(3, 64 * kib + 1, mib - 1, mib, mib + 1, 2 * mib + 17, 16 * mib));

TEST(VerifyValue, OfALargeFileSamplesSixteenBlocks)
{
    const TempDir directory;
    const qint64 size = 16 * mib;
    QByteArray content = pattern(size);
    ASSERT_TRUE(directory.write("good"_s, content));
    const QString good = fileVerifyValue(directory.path("good"_s), "fileattr"_s);
    EXPECT_TRUE(good.startsWith("16777216-"_s));

    const qint64 block = 64 * kib;
    for (int i = 0; i < 16; ++i) {
        const int inBlock = static_cast<int>((size - block) * i / 15 + block / 2);
        content[inBlock] = static_cast<char>(~content[inBlock]);
        ASSERT_TRUE(directory.write("bad"_s, content));
        EXPECT_NE(fileVerifyValue(directory.path("bad"_s), "fileattr"_s), good) << "block " << i;
        content[inBlock] = static_cast<char>(~content[inBlock]);
    }
}

TEST(VerifyValue, OfALargeFileIsItsSizeAndTheHashOfItsSamples)
{
    // Both ends must agree on that, whatever version each of them is.
    const TempDir directory;
    const qint64 block = 64 * kib;
    for (const qint64 size : {mib + 1, 2 * mib + 17, 5 * mib + 14, 16 * mib}) {
        const QByteArray content = pattern(size);
        QByteArray samples;
        for (int i = 0; i < 16; ++i)
            samples += content.mid(static_cast<int>((size - block) * i / 15), block);
        ASSERT_TRUE(directory.write("whole"_s, content));
        ASSERT_TRUE(directory.write("samples"_s, samples));
        const QString hash = fileVerifyValue(directory.path("samples"_s), "true"_s).section('-', 1);
        EXPECT_EQ(fileVerifyValue(directory.path("whole"_s), "fileattr"_s),
                  QString::number(size) + "-"_s + hash);
    }
}

TEST(VerifyValue, OfAFileBeyondFourGigabytesIsQuickWhenSampled)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("sparse"_s, "begin"));
    const qint64 size = 5 * 1024 * mib + 3;
    ASSERT_TRUE(QFile::resize(directory.path("sparse"_s), size));
    const QString before = fileVerifyValue(directory.path("sparse"_s), "fileattr"_s);
    EXPECT_TRUE(before.startsWith(QString::number(size) + "-"_s));
    QFile file(directory.path("sparse"_s));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.seek(size - 1));
    ASSERT_EQ(file.write("x", 1), 1);
    file.close();
    EXPECT_NE(fileVerifyValue(directory.path("sparse"_s), "fileattr"_s), before);
}

TEST(VerifyValue, OfALinkIsItsTargets)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, "abc"));
    ASSERT_TRUE(QFile::link(directory.path("file"_s), directory.path("link"_s)));
    EXPECT_EQ(fileVerifyValue(directory.path("link"_s), "md5"_s),
              fileVerifyValue(directory.path("file"_s), "md5"_s));
}

TEST(VerifyValue, OfWhatIsNoRegularFileIsEmpty)
{
    const TempDir directory;
    ASSERT_TRUE(QFile::link(directory.path("nowhere"_s), directory.path("dangling"_s)));
    for (const char *mode : modes) {
        const QLatin1String text(mode);
        EXPECT_EQ(fileVerifyValue(directory.path(), text), QString());
        EXPECT_EQ(fileVerifyValue(directory.path("absent"_s), text), QString());
        EXPECT_EQ(fileVerifyValue(directory.path("dangling"_s), text), QString());
        EXPECT_EQ(fileVerifyValue("/dev/zero"_s, text), QString());
        EXPECT_EQ(fileVerifyValue(QString(), text), QString());
    }
}

TEST(VerifyValue, OfAFifoIsEmptyAtOnce)
{
    const TempDir directory;
    const QByteArray fifo = QFile::encodeName(directory.path("fifo"_s));
    ASSERT_EQ(::mkfifo(fifo.constData(), 0600), 0);
    const Background value([&] { return fileVerifyValue(directory.path("fifo"_s), "md5"_s); });
    EXPECT_EQ(value.wait(std::chrono::seconds(5)), QString());
    ::close(::open(fifo.constData(), O_RDWR | O_NONBLOCK)); // lets a reader that did block go
}

TEST(VerifyValue, OfAnUnreadableFileIsEmpty)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("secret"_s, "abc"));
    ASSERT_EQ(::chmod(QFile::encodeName(directory.path()).constData(), 0755), 0);
    const QByteArray file = QFile::encodeName(directory.path("secret"_s));
    ASSERT_EQ(::chmod(file.constData(), 0), 0);
    const auto isEmpty = [&] { return fileVerifyValue(directory.path("secret"_s), "md5"_s).isEmpty(); };
    EXPECT_TRUE(holdsForOrdinaryUser(isEmpty));
    ASSERT_EQ(::chmod(file.constData(), 0644), 0);
    EXPECT_FALSE(holdsForOrdinaryUser(isEmpty));
}

TEST(VerifyValue, OfAFileThatShrinksMeanwhileIsNeverThatOfOtherContents)
{
    const TempDir directory;
    const QString path = directory.path("file"_s);
    const QByteArray name = QFile::encodeName(path);
    // What is cut off comes back as zeros, so that the contents follow from the length.
    ASSERT_TRUE(directory.write("file"_s, QByteArray(2 * mib, 'a')));
    const QString ofHalf = fileVerifyValue(path, "fileattr"_s);
    ASSERT_EQ(::truncate(name.constData(), 4 * mib), 0);
    const QString ofAll = fileVerifyValue(path, "fileattr"_s);

    std::atomic<bool> isOver = false;
    std::thread changing([&] {
        while (!isOver)
            EXPECT_EQ(::truncate(name.constData(), 2 * mib) + ::truncate(name.constData(), 4 * mib), 0);
    });
    for (int i = 0; i < 2000; ++i) {
        const QString value = fileVerifyValue(path, "fileattr"_s);
        EXPECT_TRUE(value.isEmpty() || value == ofHalf || value == ofAll) << value.toStdString();
    }
    isOver = true;
    changing.join();
}

TEST(VerifyValue, OfAFileWhoseReadingFailsIsEmpty)
{
    // Nothing is mapped at address 0, so the first read ends with an input/output error.
    for (const char *mode : modes)
        EXPECT_EQ(fileVerifyValue("/proc/self/mem"_s, QLatin1String(mode)), QString()) << mode;
}

} // namespace
