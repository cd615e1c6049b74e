#include "tests/operation/support/operation_test.h"

#include "tests/operation/support/file_limits.h"
#include "tests/support/ordinary_user.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <fcntl.h>
#include <sys/stat.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr unsigned int reading = 33; // the open modes that the operations use
constexpr unsigned int appending = 42;
constexpr unsigned int replacing = 50;

class Streams : public ClientTest
{
protected:
    Streams()
        : ClientTest("upload")
    {
    }

    /// Opens, writes, closes; the state of the stream after each write.
    bool append(const QString &name, const std::string &text)
    {
        if (!handler().createStream(dir.path(name), appending))
            return false;
        const bool good =
            handler().getStream()->write(text.data(), static_cast<std::streamsize>(text.size())).good();
        return handler().destroyStream() && good;
    }
};

TEST_F(Streams, ReadsAFileFromItsBeginning)
{
    ASSERT_TRUE(dir.write("file", pattern(3000)));
    ASSERT_TRUE(handler().createStream(dir.path("file"), reading));
    QByteArray content(3000, '\0');
    EXPECT_TRUE(handler().getStream()->read(content.data(), content.size()).good());
    EXPECT_EQ(content, pattern(3000));
    EXPECT_TRUE(handler().destroyStream());
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(Streams, LooksAtTheReadBitOnly)
{
    ASSERT_TRUE(dir.write("file", "content"));
    for (const unsigned int mode : {1U, 3U, 33U, 51U, 0xFFFFFFFFU}) {
        ASSERT_TRUE(handler().createStream(dir.path("file"), mode));
        EXPECT_EQ(handler().getStream()->get(), 'c');
        EXPECT_FALSE(handler().getStream()->put('x').flush().good()) << mode;
        handler().destroyStream();
    }
    EXPECT_EQ(dir.read("file"), "content");
    EXPECT_FALSE(handler().createStream(dir.path("missing"), reading));
    EXPECT_FALSE(dir.exists("missing"));
}

TEST_F(Streams, WritesLandAfterTheLastByte)
{
    ASSERT_TRUE(dir.write("file", "begin"));
    ASSERT_TRUE(handler().createStream(dir.path("file"), appending));
    handler().getStream()->seekp(0);
    handler().getStream()->write("+end", 4);
    handler().destroyStream();
    EXPECT_EQ(dir.read("file"), "begin+end");
}

TEST_F(Streams, TheTruncatingModeAppendsAllTheSame)
{
    ASSERT_TRUE(dir.write("file", "begin"));
    ASSERT_TRUE(handler().createStream(dir.path("file"), replacing));
    handler().getStream()->write("+end", 4);
    handler().destroyStream();
    EXPECT_EQ(dir.read("file"), "begin+end");
}

TEST_F(Streams, CreatesAMissingFileForAppending)
{
    ASSERT_TRUE(handler().createStream(dir.path("new"), appending));
    EXPECT_TRUE(dir.exists("new"));
    handler().destroyStream();
    EXPECT_EQ(dir.read("new"), "");
    EXPECT_FALSE(dir.read("new").isNull());
}

TEST_F(Streams, AnAppendingStreamCanReadToo)
{
    ASSERT_TRUE(dir.write("file", "begin"));
    ASSERT_TRUE(handler().createStream(dir.path("file"), appending));
    handler().getStream()->seekg(1);
    EXPECT_EQ(handler().getStream()->get(), 'e');
    handler().destroyStream();
}

TEST_F(Streams, BytesReachTheFileWithoutAFlush)
{
    ASSERT_TRUE(handler().createStream(dir.path("file"), appending));
    handler().getStream()->write("x", 1);
    EXPECT_EQ(dir.read("file"), "x") << "a file that is resumed is measured on the disk";
    handler().getStream()->put('y');
    EXPECT_EQ(dir.read("file"), "xy") << "not a single byte waits";
    handler().destroyStream();
}

TEST_F(Streams, OpensNamesOfEveryKind)
{
    const QString names[] = {
        QString::fromUtf8(
            "\xD0\xBF\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 \xE6\x96\x87\xE4\xBB\xB6 \xF0\x9F\x93\xA6"),
        "two  blanks ",
        "%1%2",
        "line\nbreak",
        "back\\slash",
        QString(255, 'n'),
    };
    for (const QString &name : names) {
        ASSERT_TRUE(append(name, "text")) << name.toStdString();
        ASSERT_TRUE(handler().createStream(dir.path(name), reading)) << name.toStdString();
        EXPECT_EQ(handler().getStream()->get(), 't');
        handler().destroyStream();
    }
    EXPECT_EQ(dir.entries().size(), static_cast<int>(std::size(names)));
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(Streams, ReportsAMissingFile)
{
    EXPECT_FALSE(handler().createStream(dir.path("no %2 file"), reading));
    EXPECT_EQ(logged(),
              QStringList{"error|createStream: QFile open file " + dir.path("no %2 file")
                          + " failed.error No such file or directory"});
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_EQ(param("beginTime"), "");
}

TEST_F(Streams, ReportsAMissingDirectory)
{
    EXPECT_FALSE(handler().createStream(dir.path("missing/file"), appending));
    EXPECT_EQ(logged(),
              QStringList{"error|createStream: QFile open file " + dir.path("missing/file")
                          + " failed.error No such file or directory"});
}

TEST_F(Streams, ReportsADirectory)
{
    ASSERT_TRUE(dir.mkdir("directory"));
    const QString line =
        "error|createStream: QFile open file " + dir.path("directory") + " failed.error Not a regular file";
    EXPECT_FALSE(handler().createStream(dir.path("directory"), reading));
    EXPECT_FALSE(handler().createStream(dir.path("directory"), appending));
    EXPECT_EQ(logged(), QStringList({line, line}));
}

TEST_F(Streams, FollowsLinksForReading)
{
    ASSERT_TRUE(dir.write("file", "content"));
    ASSERT_TRUE(QFile::link(dir.path("file"), dir.path("link")));
    ASSERT_TRUE(handler().createStream(dir.path("link"), reading));
    EXPECT_EQ(handler().getStream()->get(), 'c');
    handler().destroyStream();
}

TEST_F(Streams, DoesNotAppendThroughALink)
{
    ASSERT_TRUE(dir.write("file", "content"));
    ASSERT_TRUE(QFile::link(dir.path("file"), dir.path("link")));
    ASSERT_TRUE(QFile::link(dir.path("outside"), dir.path("dangling")));
    QStringList lines;
    for (const QString name : {"link", "dangling"}) {
        EXPECT_FALSE(handler().createStream(dir.path(name), appending));
        lines << "error|createStream: QFile open file " + dir.path(name) + " failed.error Not a regular file";
    }
    EXPECT_EQ(logged(), lines);
    EXPECT_EQ(dir.read("file"), "content");
    EXPECT_FALSE(dir.exists("outside"));
}

TEST_F(Streams, AppendsBelowADirectoryThatIsALink)
{
    ASSERT_TRUE(dir.mkdir("directory"));
    ASSERT_TRUE(QFile::link(dir.path("directory"), dir.path("link")));
    EXPECT_TRUE(append("link/file", "text"));
    EXPECT_EQ(dir.read("directory/file"), "text");
}

TEST_F(Streams, DoesNotWaitForTheOtherEndOfAPipe)
{
    ASSERT_EQ(::mkfifo(QFile::encodeName(dir.path("pipe")).constData(), 0600), 0);
    const Background attempt([&] {
        return handler().createStream(dir.path("pipe"), reading)
            || handler().createStream(dir.path("pipe"), appending);
    });
    const auto result = attempt.wait(patience);
    if (!result) // frees the attempt, so that the program can go on
        (void)::open(QFile::encodeName(dir.path("pipe")).constData(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(result, false);
}

TEST_F(Streams, ReportsAFileThatMayNotBeRead)
{
    ASSERT_TRUE(dir.write("secret", "text"));
    ASSERT_TRUE(VeskBase::chmod(dir.path("secret"), 0));
    ASSERT_TRUE(VeskBase::chmod(dir.path(), 0755));
    const Background attempt([&] {
        becomeOrdinaryUser();
        return handler().createStream(dir.path("secret"), reading);
    });
    EXPECT_EQ(attempt.wait(patience), false);
    EXPECT_EQ(logged(),
              QStringList{"error|createStream: QFile open file " + dir.path("secret")
                          + " failed.error Permission denied"});
}

TEST_F(Streams, ReportsWhenThereAreNoDescriptorsLeft)
{
    ASSERT_TRUE(dir.write("file", "text"));
    const QString path = dir.path("file");
    VeskHandler2_0_0 &subject = handler();
    // A sanitizer's first look at an object takes descriptors itself, so every kind has been looked at
    // before.
    EXPECT_FALSE(subject.createStream(dir.path("missing"), reading));
    EXPECT_TRUE(subject.createStream(path, reading));
    subject.destroyStream();
    const int before = logged().size();
    bool opened = true;
    {
        const DescriptorLimit room(1); // for the opener, and not for the duplicate
        opened = subject.createStream(path, reading);
    }
    EXPECT_FALSE(opened);
    EXPECT_EQ(
        logged().mid(before),
        QStringList{"error|createStream: Fd open file " + path + " failed.error " + QString::number(EMFILE)});
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_TRUE(handler().createStream(path, reading)) << "and it works again afterwards";
    handler().destroyStream();
}

TEST_F(Streams, RecordsWhenTheTransferBegan)
{
    ASSERT_TRUE(dir.write("file", "text"));
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    ASSERT_TRUE(handler().createStream(dir.path("file"), reading));
    EXPECT_GE(param("beginTime").toLongLong(), before);
    EXPECT_LE(param("beginTime").toLongLong(), QDateTime::currentMSecsSinceEpoch());
    handler().destroyStream();
}

TEST_F(Streams, DestroyingNothingSucceeds)
{
    EXPECT_TRUE(handler().destroyStream());
    EXPECT_TRUE(handler().destroyStream());
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(Streams, DestroyingEndsAMessageInProgress)
{
    const Background receiving([&] {
        QString text;
        return handler().recv(number(MessageKind::TaskParam), text);
    });
    EXPECT_FALSE(receiving.wait(std::chrono::milliseconds(20)));
    EXPECT_TRUE(handler().destroyStream());
    EXPECT_EQ(receiving.wait(stopLimit), false);

    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, {{"a", "b"}}));
    QString text;
    EXPECT_TRUE(handler().recv(number(MessageKind::TaskParam), text)) << "later messages still travel";
}

TEST_F(Streams, ReplacingTheStreamDeletesNothing)
{
    std::fstream own;
    handler().setStream(&own);
    EXPECT_EQ(handler().getStream(), &own);
    handler().setStream(nullptr);
    EXPECT_EQ(handler().getStream(), nullptr);
}

TEST_F(Streams, LeavesNoDescriptorOpen)
{
    ASSERT_TRUE(dir.write("file", "text"));
    ASSERT_TRUE(dir.mkdir("directory"));
    const int before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(handler().createStream(dir.path("file"), i % 2 == 0 ? reading : appending));
        EXPECT_EQ(openDescriptors(), before + 1);
        handler().destroyStream();
        EXPECT_FALSE(handler().createStream(dir.path("directory"), reading));
        EXPECT_FALSE(handler().createStream(dir.path("missing"), reading));
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Streams, ChildProcessesInheritNoDescriptor)
{
    ASSERT_TRUE(dir.write("file", "text"));
    ASSERT_TRUE(handler().createStream(dir.path("file"), reading));
    int seen = 0;
    const QDir descriptors("/proc/self/fd");
    for (const QString &name : descriptors.entryList(QDir::Files | QDir::System)) {
        if (QFile::symLinkTarget(descriptors.filePath(name)) != dir.path("file"))
            continue;
        ++seen;
        EXPECT_NE(::fcntl(name.toInt(), F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(seen, 1);
    handler().destroyStream();
}

TEST_F(Streams, AFullDiskFailsAtTheWriteThatDoesNotFit)
{
    for (const int chunk : {1, 100, 1023, 1024, 1456}) {
        ASSERT_TRUE(handler().createStream(dir.path("file"), appending));
        const FileSizeLimit full(0);
        EXPECT_FALSE(handler().getStream()->write(pattern(chunk).constData(), chunk).good()) << chunk;
        handler().destroyStream();
    }
    EXPECT_EQ(dir.read("file").size(), 0);
}

TEST_F(Streams, TheEndOfTheHandlerDeletesNoStream)
{
    ASSERT_TRUE(dir.write("file", "text"));
    ASSERT_TRUE(handler().createStream(dir.path("file"), reading));
    const std::unique_ptr<std::fstream> stream(handler().getStream());
    useHandler<VeskHandler2_0_0>();
    EXPECT_EQ(stream->get(), 't');
}

TEST_F(Streams, OpeningAnotherStreamForgetsTheFirst)
{
    ASSERT_TRUE(dir.write("file", "text"));
    ASSERT_TRUE(handler().createStream(dir.path("file"), reading));
    std::fstream *const first = handler().getStream();
    ASSERT_TRUE(handler().createStream(dir.path("file"), reading));
    EXPECT_NE(handler().getStream(), first);
    EXPECT_EQ(first->get(), 't') << "it is still open, and the caller's";
    handler().destroyStream();
    delete first;
}

} // namespace
