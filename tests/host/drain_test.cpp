#include "tests/host/client_test.h"
#include "tests/host/exit_status.h"

#include "vesk_base/paths.h"

#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

#include <csignal>

// A server that is told to end while tasks run: they may end first, for some time, and nothing else begins.

using namespace VESK::Test;
using testing::HasSubstr;
using testing::Not;

namespace
{

constexpr qint64 shortSize = 16 << 20; // bytes; some seconds at the rate below
constexpr qint64 longSize = 96 << 20; // longer than any of these tests waits for it

class DrainTest : public ClientTest
{
protected:
    void start(const QString &drainTime, quint16 port = 0)
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("in")), port,
                                                   QStringList{QStringLiteral("--drain-time"), drainTime});
        ASSERT_NE(m_server->port(), 0) << qPrintable(m_server->program().err());
    }

    QString file(const QString &name, qint64 size)
    {
        EXPECT_TRUE(m_directory.write(name, pattern(size)));
        return m_directory.path(name);
    }

    QStringList putArguments(const QStringList &files, const QStringList &options = {})
    {
        return QStringList{QStringLiteral("put"), QStringLiteral("-j"), QStringLiteral("1"),
                           QStringLiteral("--limit-rate"), QStringLiteral("6M")}
        + options + files + QStringList{m_server->url(QStringLiteral("in"))};
    }

    // An upload whose first file is on its way.
    std::unique_ptr<Program> begun(const QStringList &files, const QStringList &options = {})
    {
        auto client = std::make_unique<Program>(putArguments(files, options));
        const QString partial = partialOf(QFileInfo(files.first()).fileName());
        EXPECT_TRUE(waitUntil([&] { return sizeOf(partial) > 0; })) << qPrintable(client->err());
        return client;
    }

    QString partialOf(const QString &name) const
    {
        return VESK::temporaryPath(m_directory.path(QStringLiteral("in/")) + name);
    }

    bool isInPlace(const QString &name)
    {
        return m_directory.read(QStringLiteral("in/") + name) == m_directory.read(name);
    }

    // Until the server says that it waits for what runs.
    void beginToEnd()
    {
        m_server->program().signal(SIGTERM);
        EXPECT_TRUE(waitUntil([&] { return serverSaid().contains(QLatin1String("ending: ")); }))
            << qPrintable(serverSaid());
    }

    QString serverSaid() { return m_server->program().err(); }

    void expectServerEnds(int limitMs = 30000)
    {
        EXPECT_EQ(m_server->program().waitForEnd(limitMs), 0) << qPrintable(serverSaid());
    }

    std::unique_ptr<ServerProgram> m_server;
};

TEST_F(DrainTest, LetsRunningTasksEnd)
{
    start(QStringLiteral("5m"));
    const auto client = begun({file(QStringLiteral("short"), shortSize)});
    beginToEnd();
    EXPECT_EQ(client->waitForEnd(), 0) << qPrintable(client->err());
    expectServerEnds();
    EXPECT_TRUE(isInPlace(QStringLiteral("short")));
    EXPECT_THAT(client->err().toStdString(), Not(HasSubstr("Trying again")));
    EXPECT_THAT(serverSaid().toStdString(),
                HasSubstr("ending: 1 running task may go on for 5:00; a second signal pauses at once"));
}

TEST_F(DrainTest, PausesWhatTakesLonger)
{
    start(QStringLiteral("500ms"));
    const quint16 port = m_server->port();
    const auto client = begun({file(QStringLiteral("short"), shortSize)});
    beginToEnd();
    expectServerEnds();
    const qint64 kept = sizeOf(partialOf(QStringLiteral("short")));
    EXPECT_GT(kept, 0);
    EXPECT_LT(kept, shortSize);
    start(QStringLiteral("0"), port);
    EXPECT_EQ(client->waitForEnd(), 0) << qPrintable(client->err());
    EXPECT_TRUE(isInPlace(QStringLiteral("short")));
    EXPECT_THAT(client->err().toStdString(), HasSubstr("Trying again"));
}

TEST_F(DrainTest, PausesAtOnceAtASecondSignal)
{
    start(QStringLiteral("1h"));
    const auto client = begun({file(QStringLiteral("long"), longSize)});
    beginToEnd();
    m_server->program().signal(SIGINT);
    expectServerEnds();
    EXPECT_GT(sizeOf(partialOf(QStringLiteral("long"))), 0);
}

TEST_F(DrainTest, PausesAtOnceWithoutTimeForIt)
{
    start(QStringLiteral("0"));
    const auto client = begun({file(QStringLiteral("long"), longSize)});
    m_server->program().signal(SIGTERM);
    expectServerEnds();
    EXPECT_GT(sizeOf(partialOf(QStringLiteral("long"))), 0);
    EXPECT_THAT(serverSaid().toStdString(), Not(HasSubstr("ending: ")));
}

TEST_F(DrainTest, EndsAtOnceWhereNothingRuns)
{
    start(QStringLiteral("1h"));
    EXPECT_EQ(run(putArguments({file(QStringLiteral("f"), 1)})), 0) << m_err;
    m_server->program().signal(SIGTERM);
    expectServerEnds();
}

TEST_F(DrainTest, RefusesFurtherClientsAndTellsThemWhy)
{
    start(QStringLiteral("1h"));
    const auto running = begun({file(QStringLiteral("long"), longSize)});
    beginToEnd();
    EXPECT_EQ(
        run(putArguments({file(QStringLiteral("f"), 1)}, {QStringLiteral("--retries"), QStringLiteral("0")})),
        ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("the server refused: it is about to end"));
    EXPECT_FALSE(m_directory.exists(QStringLiteral("in/f")));
    m_server->program().signal(SIGTERM);
    expectServerEnds();
}

TEST_F(DrainTest, RefusesFurtherTasksOfClientsThatAreThere)
{
    start(QStringLiteral("1h"));
    const auto running = begun({file(QStringLiteral("long"), longSize)});
    const auto client = begun({file(QStringLiteral("short"), shortSize), file(QStringLiteral("next"), 1)},
                              {QStringLiteral("--retries"), QStringLiteral("0")});
    beginToEnd();
    EXPECT_EQ(client->waitForEnd(), ExitStatus::someFailed) << qPrintable(client->err());
    EXPECT_THAT(client->err().toStdString(), HasSubstr("next: the server refused: it is about to end"));
    EXPECT_TRUE(isInPlace(QStringLiteral("short")));
    EXPECT_FALSE(m_directory.exists(QStringLiteral("in/next")));
    m_server->program().signal(SIGTERM);
    expectServerEnds();
}

TEST_F(DrainTest, ClientsThatWereRefusedComeBackToTheNextServer)
{
    start(QStringLiteral("1h"));
    const quint16 port = m_server->port();
    const auto running = begun({file(QStringLiteral("long"), longSize)});
    beginToEnd();
    Program later(putArguments({file(QStringLiteral("f"), 1)}));
    EXPECT_TRUE(waitUntil([&] { return later.err().contains(QLatin1String("it is about to end")); }))
        << qPrintable(later.err());
    m_server->program().signal(SIGTERM);
    expectServerEnds();
    start(QStringLiteral("0"), port);
    EXPECT_EQ(later.waitForEnd(), 0) << qPrintable(later.err());
    EXPECT_TRUE(isInPlace(QStringLiteral("f")));
}

} // namespace
