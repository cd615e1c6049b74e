#include "tests/host/exit_status.h"
#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <csignal>
#include <memory>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class GetTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv"))); }

    QString served() const { return m_directory.path(QStringLiteral("srv")); }
    QString target() const { return m_directory.path(QStringLiteral("here")); }

    // The exit code of `vesk get --json <more> <path in the share> <target>`.
    int get(ServerProgram &server, const QString &path, const QStringList &more = {})
    {
        Program client(QStringList{QStringLiteral("get"), QStringLiteral("--json")} + more
                       + QStringList{server.url(QStringLiteral("srv/") + path), target()});
        const int code = client.waitForEnd();
        m_err = client.err().toStdString();
        m_summary = client.event(QStringLiteral("summary"));
        return code;
    }

    int counted(const char *field) const { return m_summary.value(QLatin1String(field)).toInt(-1); }

    TempDir m_directory;
    std::string m_err;
    QJsonObject m_summary;
};

TEST_F(GetTest, BringsBytesAndTimeOverAndMakesTheDirectory)
{
    const QByteArray content = pattern(1000000);
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/a/f"), content));
    QFile handle(m_directory.path(QStringLiteral("srv/a/f")));
    ASSERT_TRUE(handle.open(QIODevice::ReadWrite));
    const QDateTime time = QDateTime::fromSecsSinceEpoch(981173106);
    ASSERT_TRUE(handle.setFileTime(time, QFileDevice::FileModificationTime));
    handle.close();

    ServerProgram server(served());
    ASSERT_EQ(get(server, QStringLiteral("a/f")), ExitStatus::success) << m_err;
    EXPECT_EQ(counted("received"), 1);
    EXPECT_EQ(counted("movedBytes"), 1000000);
    EXPECT_EQ(m_directory.read(QStringLiteral("here/f")), content);
    EXPECT_EQ(QFileInfo(target() + QStringLiteral("/f")).lastModified(), time);
    EXPECT_EQ(m_directory.entries().filter(QStringLiteral("vsktmp")), QStringList());
}

TEST_F(GetTest, ReceivesNothingTheSecondTimeInEveryMode)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), pattern(3000000)));
    ServerProgram server(served());
    for (const QString &mode : {QStringLiteral("xxh128"), QStringLiteral("sha256"), QStringLiteral("quick"),
                                QStringLiteral("none")}) {
        (void)QFile::remove(target() + QStringLiteral("/f"));
        const QStringList verify = {QStringLiteral("--verify"), mode};
        ASSERT_EQ(get(server, QStringLiteral("f"), verify), ExitStatus::success) << m_err;
        EXPECT_EQ(counted("movedBytes"), 3000000);
        ASSERT_EQ(get(server, QStringLiteral("f"), verify), ExitStatus::success) << m_err;
        EXPECT_EQ(counted("alreadyThere"), 1) << qPrintable(mode);
        EXPECT_EQ(counted("movedBytes"), 0);
        EXPECT_EQ(m_directory.read(QStringLiteral("here/f")), pattern(3000000));
    }
}

TEST_F(GetTest, ReplacesAFileThatDiffers)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), pattern(100000, 1)));
    ASSERT_TRUE(m_directory.write(QStringLiteral("here/f"), pattern(100000, 2)));
    ServerProgram server(served());
    ASSERT_EQ(get(server, QStringLiteral("f")), ExitStatus::success) << m_err;
    EXPECT_EQ(m_directory.read(QStringLiteral("here/f")), pattern(100000, 1));
}

TEST_F(GetTest, StartsAgainWhenAnOldPartialFileSpoilsTheResult)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), pattern(200000, 1)));
    const QString partial = QFileInfo(VESK::temporaryPath(target() + QStringLiteral("/f"))).fileName();
    ASSERT_TRUE(m_directory.write(QStringLiteral("here/") + partial, pattern(50000, 2)));
    ServerProgram server(served());
    ASSERT_EQ(get(server, QStringLiteral("f")), ExitStatus::success) << m_err;
    EXPECT_THAT(m_err, HasSubstr("again from the start"));
    EXPECT_EQ(counted("resumedBytes"), 0);
    EXPECT_EQ(m_directory.read(QStringLiteral("here/f")), pattern(200000, 1));
}

TEST_F(GetTest, DropsAPartialFileThatIsLongerThanTheFile)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), pattern(1000)));
    const QString partial = QFileInfo(VESK::temporaryPath(target() + QStringLiteral("/f"))).fileName();
    ASSERT_TRUE(m_directory.write(QStringLiteral("here/") + partial, pattern(5000)));
    ServerProgram server(served());
    ASSERT_EQ(get(server, QStringLiteral("f")), ExitStatus::success) << m_err;
    EXPECT_EQ(counted("movedBytes"), 1000);
    EXPECT_EQ(m_directory.read(QStringLiteral("here/f")), pattern(1000));
}

TEST_F(GetTest, TakesSeveralSourcesAndGoesOnAfterAFailure)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), "f"));
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/.hidden"), "h"));
    ServerProgram server(served());
    EXPECT_EQ(get(server, QStringLiteral("absent"),
                  {server.url(QStringLiteral("srv/f")), server.url(QStringLiteral("srv/.hidden"))}),
              1)
        << m_err;
    EXPECT_EQ(m_directory.read(QStringLiteral("here/f")), QByteArray("f"));
    EXPECT_EQ(m_directory.read(QStringLiteral("here/.hidden")), QByteArray("h"));
    EXPECT_EQ(counted("received"), 2);
    EXPECT_EQ(counted("failed"), 1);
}

TEST_F(GetTest, TellsASourceThatIsNotThere)
{
    ServerProgram server(served());
    EXPECT_EQ(get(server, QStringLiteral("absent")), ExitStatus::sourceMissing);
    EXPECT_THAT(m_err, HasSubstr("absent: no such file on the server"));
    EXPECT_EQ(get(server, QStringLiteral("absent"), {QStringLiteral("-r")}), ExitStatus::sourceMissing);
    EXPECT_THAT(m_err, HasSubstr("no such directory on the server"));
}

TEST_F(GetTest, TellsADirectoryAskedForAsAFile)
{
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv/d")));
    ServerProgram server(served());
    EXPECT_EQ(get(server, QStringLiteral("d")), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("it is a directory"));
    EXPECT_THAT(m_err, HasSubstr("-r"));
    EXPECT_EQ(get(server, QString()), ExitStatus::usage);
}

TEST_F(GetTest, TakesASingleFileWithRecursionAskedFor)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/d/f"), "f"));
    ServerProgram server(served());
    EXPECT_EQ(get(server, QStringLiteral("d/f"), {QStringLiteral("-r")}), ExitStatus::success) << m_err;
    EXPECT_EQ(m_directory.read(QStringLiteral("here/f")), QByteArray("f"));
}

TEST_F(GetTest, IsRefusedAPipeInsteadOfWaitingForIt)
{
    const QString pipe = m_directory.path(QStringLiteral("srv/pipe"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    ServerProgram server(served());
    EXPECT_EQ(get(server, QStringLiteral("pipe")), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("neither a file nor a directory"));
}

TEST_F(GetTest, TellsWhatStandsInTheWayHere)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), "f"));
    ServerProgram server(served());
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("here/f")));
    EXPECT_EQ(get(server, QStringLiteral("f")), ExitStatus::localFile);
    EXPECT_THAT(m_err, HasSubstr("a directory of that name"));

    Program client({QStringLiteral("get"), server.url(QStringLiteral("srv/f")),
                    m_directory.path(QStringLiteral("srv/f"))});
    EXPECT_EQ(client.waitForEnd(), ExitStatus::localFile);
    EXPECT_THAT(client.err().toStdString(), HasSubstr("no directory"));
}

TEST_F(GetTest, TellsWrongUseBeforeTryingAnything)
{
    for (const QStringList &arguments : {QStringList(), QStringList{QStringLiteral("127.0.0.1:s/f")},
                                         QStringList{QStringLiteral("127.0.0.1:s/../f"), target()},
                                         QStringList{QStringLiteral("no-server"), target()}}) {
        Program client(QStringList{QStringLiteral("get")} + arguments);
        EXPECT_EQ(client.waitForEnd(), ExitStatus::usage);
    }
    EXPECT_FALSE(m_directory.exists(QStringLiteral("here")));
}

class GetResumeTest : public GetTest
{
protected:
    static constexpr qint64 fileSize = (100 << 20) + 12345; // bytes; enough to be stopped on the way

    void SetUp() override
    {
        GetTest::SetUp();
        m_content = pattern(fileSize);
        ASSERT_TRUE(m_directory.write(QStringLiteral("srv/big"), m_content));
        m_partial = VESK::temporaryPath(target() + QStringLiteral("/big"));
    }

    std::unique_ptr<Program> start(const ServerProgram &server) const
    {
        return std::make_unique<Program>(QStringList{QStringLiteral("get"), QStringLiteral("--json"),
                                                     server.url(QStringLiteral("srv/big")), target()});
    }

    bool waitForPercent(int percent) const
    {
        return waitUntil([&] { return sizeOf(m_partial) >= fileSize * percent / 100; });
    }

    void expectResumed(Program &client, qint64 atLeast)
    {
        EXPECT_EQ(client.waitForEnd(), 0) << qPrintable(client.err());
        const QJsonObject file = client.event(QStringLiteral("file"));
        const auto from = static_cast<qint64>(file.value(QStringLiteral("from")).toDouble());
        const auto moved = static_cast<qint64>(file.value(QStringLiteral("moved")).toDouble());
        EXPECT_GE(from, atLeast);
        EXPECT_EQ(from + moved, fileSize);
        EXPECT_TRUE(m_directory.read(QStringLiteral("here/big")) == m_content);
        EXPECT_FALSE(QFile::exists(m_partial));
    }

    QByteArray m_content;
    QString m_partial;
};

TEST_F(GetResumeTest, ReceivesOnlyWhatIsMissingAfterTheClientWasKilled)
{
    ServerProgram server(served());
    qint64 kept = 0;
    for (const int percent : {10, 50}) {
        const auto client = start(server);
        ASSERT_TRUE(waitForPercent(percent)) << qPrintable(client->err());
        client->kill();
        ASSERT_FALSE(m_directory.exists(QStringLiteral("here/big"))) << "it was through too early";
        EXPECT_GT(sizeOf(m_partial), kept);
        kept = sizeOf(m_partial);
    }
    expectResumed(*start(server), kept);
}

TEST_F(GetResumeTest, GoesOnByItselfAfterTheServerWasKilledAndStartedAgain)
{
    auto server = std::make_unique<ServerProgram>(served());
    const quint16 port = server->port();
    const auto client = start(*server);
    ASSERT_TRUE(waitForPercent(20)) << qPrintable(client->err());
    server->program().kill();
    const qint64 kept = sizeOf(m_partial);
    server = std::make_unique<ServerProgram>(served(), port);
    ASSERT_EQ(server->port(), port);
    expectResumed(*client, kept);
    EXPECT_THAT(client->err().toStdString(), HasSubstr("Trying again"));
}

TEST_F(GetResumeTest, GivesUpWhenTheServerStaysAway)
{
    ServerProgram server(served());
    Program client({QStringLiteral("get"), QStringLiteral("--retries"), QStringLiteral("1"),
                    server.url(QStringLiteral("srv/big")), target()});
    ASSERT_TRUE(waitForPercent(5));
    server.program().kill();
    EXPECT_EQ(client.waitForEnd(), 9);
    EXPECT_THAT(client.err().toStdString(), HasSubstr("is kept"));
    EXPECT_GT(sizeOf(m_partial), 0);

    Program late({QStringLiteral("get"), server.url(QStringLiteral("srv/big")), target()});
    EXPECT_EQ(late.waitForEnd(), 3);
    EXPECT_THAT(late.err().toStdString(), HasSubstr("refuses connections"));
}

TEST_F(GetResumeTest, KeepsThePartialFileWhenInterrupted)
{
    ServerProgram server(served());
    const auto client = start(server);
    ASSERT_TRUE(waitForPercent(10));
    client->signal(SIGINT);
    EXPECT_EQ(client->waitForEnd(10000), 128 + SIGINT) << qPrintable(client->err());
    EXPECT_THAT(client->err().toStdString(), HasSubstr("Run the same command again"));
    const qint64 kept = sizeOf(m_partial);
    ASSERT_GT(kept, 0);
    expectResumed(*start(server), kept);
}

} // namespace
