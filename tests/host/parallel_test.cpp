#include "tests/host/client_test.h"

#include "tests/support/ordinary_user.h"
#include "vesk_base/paths.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <memory>

using namespace VESK::Test;
using testing::HasSubstr;
using testing::Not;

namespace
{

class ParallelTest : public ClientTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv")));
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("src")));
    }

    void writeFiles(int count)
    {
        for (int i = 0; i < count; ++i)
            ASSERT_TRUE(m_directory.write(fileName(i), pattern(100 + i, i)));
    }

    static QString fileName(int i)
    {
        return QStringLiteral("src/d%1/f%2").arg(QString::number(i % 7), QString::number(i));
    }

    // Without events on stdout, which somebody would have to read while the test waits for something else.
    QStringList quietPutArguments(const ServerProgram &server) const
    {
        return {QStringLiteral("put"), QStringLiteral("-r"), m_directory.path(QStringLiteral("src")),
                server.url(QStringLiteral("srv"))};
    }

    QStringList putArguments(const ServerProgram &server) const
    {
        return quietPutArguments(server) + QStringList{QStringLiteral("--json")};
    }

    void expectAllThere(int count, const QString &top)
    {
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(m_directory.read(top + fileName(i)), pattern(100 + i, i)) << i;
    }
};

TEST_F(ParallelTest, MovesATreeOverSeveralConnectionsThereAndBack)
{
    constexpr int count = 200;
    writeFiles(count);
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("src/empty/deeper")));
    ServerProgram server(m_directory.path(QStringLiteral("srv")));
    for (const QString &jobs : {QStringLiteral("-j8"), QStringLiteral("-jauto")}) {
        ASSERT_TRUE(QDir(m_directory.path(QStringLiteral("srv/src"))).removeRecursively());
        ASSERT_EQ(run(putArguments(server) + QStringList{jobs}), 0) << m_err;
        EXPECT_EQ(counted("sent"), count);
        EXPECT_EQ(counted("directories"), 1);
        expectAllThere(count, QStringLiteral("srv/"));

        const QString back = QStringLiteral("back") + jobs;
        ASSERT_EQ(run({QStringLiteral("get"), QStringLiteral("-r"), QStringLiteral("--json"), jobs,
                       server.url(QStringLiteral("srv/src")), m_directory.path(back)}),
                  0)
            << m_err;
        EXPECT_EQ(counted("received"), count);
        expectAllThere(count, back + QLatin1Char('/'));
        EXPECT_TRUE(m_directory.exists(back + QStringLiteral("/src/empty/deeper")));
    }
    EXPECT_EQ(m_directory.entries().filter(QStringLiteral("vsktmp")), QStringList());
}

TEST_F(ParallelTest, MakesDoWithTheConnectionsThatTheServerTakes)
{
    constexpr int count = 60;
    writeFiles(count);
    ServerProgram server(m_directory.path(QStringLiteral("srv")), 0,
                         {QStringLiteral("--max-connections"), QStringLiteral("2")});
    ASSERT_EQ(run(putArguments(server) + QStringList{QStringLiteral("-j8")}), 0) << m_err;
    EXPECT_EQ(counted("sent"), count);
    EXPECT_EQ(counted("failed"), 0);
    EXPECT_THAT(m_err, Not(HasSubstr("Trying again")));
    expectAllThere(count, QStringLiteral("srv/"));
}

TEST_F(ParallelTest, SendsSourcesOfOneNameOneAfterAnother)
{
    QStringList sources;
    for (int i = 0; i < 8; ++i) {
        const QString name = QStringLiteral("src/%1/same").arg(i);
        ASSERT_TRUE(m_directory.write(name, pattern(300000, i)));
        sources << m_directory.path(name);
    }
    ServerProgram server(m_directory.path(QStringLiteral("srv")));
    ASSERT_EQ(run(QStringList{QStringLiteral("put"), QStringLiteral("--json"), QStringLiteral("-j8")}
                  + sources + QStringList{server.url(QStringLiteral("srv"))}),
              0)
        << m_err;
    EXPECT_EQ(counted("sent"), 8);
    EXPECT_EQ(m_directory.read(QStringLiteral("srv/same")), pattern(300000, 7)) << "the last one stays";
}

TEST_F(ParallelTest, TellsOnceThatTheServerIsNotThere)
{
    writeFiles(50);
    quint16 freePort = 0;
    {
        ServerProgram server(m_directory.path(QStringLiteral("srv")));
        freePort = server.port();
        server.program().kill();
    }
    EXPECT_EQ(run({QStringLiteral("put"), QStringLiteral("-r"), QStringLiteral("--json"),
                   QStringLiteral("-j8"), QStringLiteral("--port"), QString::number(freePort),
                   m_directory.path(QStringLiteral("src")), QStringLiteral("127.0.0.1:srv")}),
              3);
    EXPECT_EQ(counted("failed"), 50);
    const QString err = QString::fromStdString(m_err);
    EXPECT_EQ(err.count(QStringLiteral("refuses connections")), 1) << m_err;
}

TEST_F(ParallelTest, GoesOnByItselfAfterTheServerWasKilledAndStartedAgain)
{
    constexpr int count = 1500;
    writeFiles(count);
    auto server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("srv")));
    const quint16 port = server->port();
    Program client(
        quietPutArguments(*server)
        + QStringList{QStringLiteral("-j8"), QStringLiteral("--stall-timeout"), QStringLiteral("5")});
    const QString target = m_directory.path(QStringLiteral("srv/src/d0"));
    ASSERT_TRUE(waitUntil([&] { return QDir(target).count() > 12; })) << qPrintable(client.err());
    server->program().kill();
    server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("srv")), port);
    ASSERT_EQ(server->port(), port);
    EXPECT_EQ(client.waitForEnd(), 0) << qPrintable(client.err());
    EXPECT_LE(client.err().count(QStringLiteral("Trying again")), 12) << "one speaks for all";
    expectAllThere(count, QStringLiteral("srv/"));
}

TEST_F(ParallelTest, EndsSoonWhenInterruptedAndGoesOnLater)
{
    constexpr int count = 1500;
    writeFiles(count);
    ServerProgram server(m_directory.path(QStringLiteral("srv")));
    Program client(quietPutArguments(server) + QStringList{QStringLiteral("-j8")});
    const QString target = m_directory.path(QStringLiteral("srv/src/d0"));
    ASSERT_TRUE(waitUntil([&] { return QDir(target).count() > 12; })) << qPrintable(client.err());
    client.signal(SIGTERM);
    EXPECT_EQ(client.waitForEnd(10000), 143) << qPrintable(client.err());
    ASSERT_EQ(run(putArguments(server)), 0) << m_err;
    EXPECT_GT(counted("alreadyThere"), 0);
    expectAllThere(count, QStringLiteral("srv/"));
}

TEST_F(ParallelTest, BringsTheRestWhenMuchCannotBeMoved)
{
    constexpr int count = 500;
    writeFiles(count);
    const QByteArray src = QFile::encodeName(m_directory.path(QStringLiteral("src")));
    const int bad = ::creat((src + "/odd\xff\xfe").constData(), 0644);
    ASSERT_GE(bad, 0);
    ::close(bad);
    ASSERT_EQ(::mkfifo((src + "/fifo").constData(), 0600), 0);
    ASSERT_EQ(::symlink("nowhere", (src + "/broken").constData()), 0);
    ASSERT_EQ(::symlink("looping", (src + "/looping").constData()), 0);
    ASSERT_EQ(::symlink("..", (src + "/d0/circle").constData()), 0);
    const int unix = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = src + "/socket";
    ASSERT_LT(static_cast<std::size_t>(path.size()), sizeof(address.sun_path));
    std::copy(path.begin(), path.end(), address.sun_path);
    ASSERT_EQ(::bind(unix, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    ::close(unix);

    ServerProgram server(m_directory.path(QStringLiteral("srv")));
    EXPECT_EQ(run(putArguments(server) + QStringList{QStringLiteral("-j8")}), 1) << m_err;
    EXPECT_EQ(counted("sent"), count);
    EXPECT_EQ(counted("skipped"), 6);
    for (const char *why :
         {"odd\\xff\\xfe: its name is not valid", "fifo: it is a pipe", "broken: the link leads",
          "looping: Too many levels", "circle: the link leads back", "socket: it is a socket"})
        EXPECT_THAT(m_err, HasSubstr(why));
    expectAllThere(count, QStringLiteral("srv/"));
    EXPECT_EQ(::unlink((src + "/odd\xff\xfe").constData()), 0); // the directory's end would not find it
}

} // namespace
