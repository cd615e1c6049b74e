#include "tests/host/client_test.h"
#include "tests/host/exit_status.h"

#include "vesk_base/paths.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

#include <sys/stat.h>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class GetTest : public ClientTest
{
protected:
    void SetUp() override { ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv"))); }

    QString served() const { return m_directory.path(QStringLiteral("srv")); }
    QString target() const { return m_directory.path(QStringLiteral("here")); }

    // The exit code of `vesk get --json <more> <path in the share> <target>`.
    int get(ServerProgram &server, const QString &path, const QStringList &more = {})
    {
        return run(QStringList{QStringLiteral("get"), QStringLiteral("--json")} + more
                   + QStringList{server.url(QStringLiteral("srv/") + path), target()});
    }
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

} // namespace
