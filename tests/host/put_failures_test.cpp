#include "tests/host/exit_status.h"
#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>

#include <gmock/gmock.h>

#include <unistd.h>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class PutFailuresTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
        ASSERT_TRUE(m_directory.write(QStringLiteral("f"), "content"));
        m_file = m_directory.path(QStringLiteral("f"));
    }

    int put(const QStringList &arguments, const QStringList &wrapper = {})
    {
        Program client(QStringList{QStringLiteral("put")} + arguments, wrapper);
        const int code = client.waitForEnd();
        m_err = client.err().toStdString();
        return code;
    }

    // The server takes a file as if nothing had happened before.
    void expectStillServing(ServerProgram &server)
    {
        EXPECT_EQ(put({m_file, server.url(QStringLiteral("in/after"))}), 0) << m_err;
        EXPECT_EQ(m_directory.read(QStringLiteral("in/after/f")), QByteArray("content"));
    }

    TempDir m_directory;
    QString m_file;
    std::string m_err;
};

TEST_F(PutFailuresTest, TellsWrongUseBeforeTryingAnything)
{
    EXPECT_EQ(put({}), ExitStatus::usage);
    EXPECT_EQ(put({m_file}), ExitStatus::usage);
    EXPECT_EQ(put({m_file, QStringLiteral("no-server")}), ExitStatus::usage);
    EXPECT_EQ(
        put({m_file, QStringLiteral("127.0.0.1:in"), QStringLiteral("--verify"), QStringLiteral("crc")}),
        ExitStatus::usage);
    EXPECT_EQ(put({m_file, QStringLiteral("127.0.0.1:in"), QStringLiteral("--unknown")}), ExitStatus::usage);
    EXPECT_EQ(put({m_file, QStringLiteral("127.0.0.1:in/../x")}), ExitStatus::usage);
}

TEST_F(PutFailuresTest, TellsAServerThatIsNotThere)
{
    quint16 freePort = 0;
    {
        ServerProgram server(m_directory.path(QStringLiteral("in")));
        freePort = server.port();
        server.program().kill();
    }
    EXPECT_EQ(
        put({m_file, QStringLiteral("127.0.0.1:in"), QStringLiteral("--port"), QString::number(freePort)}),
        ExitStatus::unreachable);
    EXPECT_THAT(m_err, HasSubstr("refuses connections"));
}

TEST_F(PutFailuresTest, TellsANameWithoutAddress)
{
    EXPECT_EQ(put({m_file, QStringLiteral("name.invalid:in")}), ExitStatus::unreachable);
    EXPECT_THAT(m_err, HasSubstr("name.invalid has no address"));
}

TEST_F(PutFailuresTest, TellsASourceThatIsNotThere)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    EXPECT_EQ(put({m_directory.path(QStringLiteral("absent\n")), server.url(QStringLiteral("in"))}),
              ExitStatus::sourceMissing);
    EXPECT_THAT(m_err, HasSubstr("absent\\n: no such file"));
}

TEST_F(PutFailuresTest, TellsADirectoryGivenAsAFile)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    EXPECT_EQ(put({m_directory.path(), server.url(QStringLiteral("in"))}), ExitStatus::localFile);
    EXPECT_THAT(m_err, HasSubstr("directory"));
}

TEST_F(PutFailuresTest, SendsTheRestWhenOneSourceFails)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    EXPECT_EQ(put({m_directory.path(QStringLiteral("absent")), m_file, server.url(QStringLiteral("in"))}), 1);
    EXPECT_EQ(m_directory.read(QStringLiteral("in/f")), QByteArray("content"));
}

TEST_F(PutFailuresTest, TellsAFileThatCannotBeRead)
{
    ASSERT_TRUE(QFile::setPermissions(m_file, QFileDevice::Permissions()));
    QStringList wrapper;
    if (::geteuid() == 0) {
        // Somebody else must also be able to reach the program and the directory.
        ASSERT_TRUE(QFile::setPermissions(m_directory.path(), QFileDevice::Permissions(0x7755)));
        wrapper = QStringList{QStringLiteral("setpriv"), QStringLiteral("--reuid=65534"),
                              QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups")};
        Program probe({QStringLiteral("version")}, wrapper);
        if (QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty() || probe.waitForEnd() != 0)
            GTEST_SKIP() << "an ordinary user cannot run the program from here";
    }
    // That user cannot read our token either.
    ServerProgram server(m_directory.path(QStringLiteral("in")), 0,
                         {QStringLiteral("--auth"), QStringLiteral("none")});
    EXPECT_EQ(put({m_file, server.url(QStringLiteral("in"))}, wrapper), ExitStatus::localFile) << m_err;
    EXPECT_THAT(m_err, HasSubstr("cannot read it"));
}

TEST_F(PutFailuresTest, TellsAnUnknownShare)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    EXPECT_EQ(put({m_file, server.url(QStringLiteral("nope"))}), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("no share \"nope\""));
    expectStillServing(server);
}

TEST_F(PutFailuresTest, TellsATargetThatCannotBeMade)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    ASSERT_TRUE(m_directory.write(QStringLiteral("in/file"), "x"));
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in/d/f")));
    EXPECT_EQ(put({m_file, server.url(QStringLiteral("in/file/below"))}), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("is a file, not a directory"));
    EXPECT_EQ(put({m_file, server.url(QStringLiteral("in/d"))}), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("a directory of that name"));
    expectStillServing(server);
}

TEST_F(PutFailuresTest, TellsATargetThatTheServerMayNotWriteTo)
{
    QStringList wrapper;
    if (::geteuid() == 0) {
        ASSERT_TRUE(QFile::setPermissions(m_directory.path(), QFileDevice::Permissions(0x7755)));
        ASSERT_TRUE(
            QFile::setPermissions(m_directory.path(QStringLiteral("in")), QFileDevice::Permissions(0x7755)));
        wrapper = QStringList{QStringLiteral("setpriv"), QStringLiteral("--reuid=65534"),
                              QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups")};
        Program probe({QStringLiteral("version")}, wrapper);
        if (QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty() || probe.waitForEnd() != 0)
            GTEST_SKIP() << "an ordinary user cannot run the program from here";
    } else {
        ASSERT_TRUE(
            QFile::setPermissions(m_directory.path(QStringLiteral("in")), QFileDevice::Permissions(0x5555)));
    }
    ServerProgram server(m_directory.path(QStringLiteral("in")), 0,
                         {QStringLiteral("--auth"), QStringLiteral("none")}, wrapper);
    EXPECT_EQ(put({m_file, server.url(QStringLiteral("in"))}), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("not writable"));
}

TEST_F(PutFailuresTest, TellsAPortThatIsTaken)
{
    ServerProgram first(m_directory.path(QStringLiteral("in")));
    Program second({QStringLiteral("serve"), m_directory.path(QStringLiteral("in")),
                    QStringLiteral("--listen"), QStringLiteral("127.0.0.1:%1").arg(first.port())});
    EXPECT_EQ(second.waitForEnd(), ExitStatus::usage);
    EXPECT_THAT(second.err().toStdString(), HasSubstr("cannot listen on 127.0.0.1"));
}

// A small file system of the test's own, where the machine lets us mount one.
class FullDiskTest : public PutFailuresTest
{
protected:
    static constexpr qint64 diskSize = 200 << 20; // bytes

    void SetUp() override
    {
        PutFailuresTest::SetUp();
        const QString options = QStringLiteral("size=%1").arg(diskSize);
        m_isMounted = ::geteuid() == 0
            && QProcess::execute(QStringLiteral("mount"),
                                 {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                                  options, QStringLiteral("none"), m_directory.path(QStringLiteral("in"))})
                == 0;
        if (!m_isMounted)
            GTEST_SKIP() << "no right to mount";
    }

    void TearDown() override
    {
        if (m_isMounted)
            QProcess::execute(QStringLiteral("umount"),
                              {QStringLiteral("-l"), m_directory.path(QStringLiteral("in"))});
    }

    QString sparse(const QString &name, qint64 size) const
    {
        QFile file(m_directory.path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.resize(size));
        return file.fileName();
    }

    bool m_isMounted = false;
};

TEST_F(FullDiskTest, IsToldBeforeAnythingIsSent)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    const QString big = sparse(QStringLiteral("big"), diskSize + 1);
    EXPECT_EQ(put({big, server.url(QStringLiteral("in"))}), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("not enough free space"));
    EXPECT_EQ(m_directory.entries().filter(QStringLiteral("vsktmp")), QStringList());
    expectStillServing(server);
}

TEST_F(FullDiskTest, IsToldWhenItFillsUpOnTheWayAndKeepsWhatHasArrived)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    const QString big = sparse(QStringLiteral("big"), diskSize * 3 / 4);
    const QString partial = VESK::temporaryPath(m_directory.path(QStringLiteral("in/big")));
    Program client({QStringLiteral("put"), big, server.url(QStringLiteral("in"))});
    ASSERT_TRUE(waitUntil([&] { return sizeOf(partial) > 1 << 20; }));
    QFile filler(m_directory.path(QStringLiteral("in/filler")));
    ASSERT_TRUE(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    const QByteArray block(1 << 20, 'x');
    while (filler.write(block) == block.size())
        continue;
    EXPECT_EQ(client.waitForEnd(), ExitStatus::refused) << qPrintable(client.err());
    EXPECT_THAT(client.err().toStdString(),
                testing::AnyOf(HasSubstr("disk is full"), HasSubstr("free space")));
    EXPECT_GT(sizeOf(partial), 1 << 20);

    ASSERT_TRUE(filler.remove());
    EXPECT_EQ(put({big, server.url(QStringLiteral("in"))}), 0) << m_err;
    EXPECT_THAT(m_err, HasSubstr("saved by resuming"));
}

} // namespace
