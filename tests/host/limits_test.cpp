#include "tests/host/client_test.h"
#include "tests/host/exit_status.h"

#include "vesk_base/paths.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

#include <csignal>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class LimitsTest : public ClientTest
{
protected:
    static constexpr qint64 fileSize = 40 << 20; // bytes

    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv")));
        ASSERT_TRUE(m_directory.write(QStringLiteral("big"), pattern(fileSize)));
        m_file = m_directory.path(QStringLiteral("big"));
        m_partial = VESK::temporaryPath(m_directory.path(QStringLiteral("srv/big")));
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("srv")));
        ASSERT_NE(m_server->port(), 0);
    }

    QStringList put(const QStringList &more) const
    {
        return QStringList{QStringLiteral("put"), QStringLiteral("--json"), m_file,
                           m_server->url(QStringLiteral("srv"))}
        + more;
    }

    // "big" of the share into "down".
    QStringList get(const QStringList &more) const
    {
        return QStringList{QStringLiteral("get"), QStringLiteral("--json"),
                           m_server->url(QStringLiteral("srv/big")), m_directory.path(QStringLiteral("down"))}
        + more;
    }

    QString m_file;
    QString m_partial; // of "big" on the server
    std::unique_ptr<ServerProgram> m_server;
};

TEST_F(LimitsTest, StopsAfterSoMuchTimeAndKeepsWhatHasArrived)
{
    EXPECT_EQ(run(put({QStringLiteral("--limit-rate"), QStringLiteral("2M"), QStringLiteral("--max-time"),
                       QStringLiteral("5")})),
              ExitStatus::limitReached)
        << m_err;
    EXPECT_THAT(m_err, HasSubstr("--max-time"));
    EXPECT_GT(sizeOf(m_partial), 0);
    ASSERT_EQ(run(put({})), 0) << m_err;
    EXPECT_GT(m_summary.value(QStringLiteral("resumedBytes")).toDouble(), 0);
    EXPECT_TRUE(m_directory.read(QStringLiteral("srv/big")) == pattern(fileSize));
}

TEST_F(LimitsTest, StopsAfterSoManyBytesAndKeepsWhatHasArrived)
{
    EXPECT_EQ(run(put({QStringLiteral("--limit-rate"), QStringLiteral("10M"), QStringLiteral("--max-bytes"),
                       QStringLiteral("5M")})),
              ExitStatus::limitReached)
        << m_err;
    EXPECT_THAT(m_err, HasSubstr("--max-bytes"));
    EXPECT_GT(sizeOf(m_partial), 1 << 20);
    EXPECT_LT(sizeOf(m_partial), fileSize / 2);
}

TEST_F(LimitsTest, HoldsTheRateInBothDirections)
{
    constexpr int leastMs = 5000; // for 40 MiB at 5 MiB/s, even when the first second's were free
    QElapsedTimer timer;
    timer.start();
    ASSERT_EQ(run(put({QStringLiteral("--limit-rate"), QStringLiteral("5M")})), 0) << m_err;
    EXPECT_GT(timer.elapsed(), leastMs);
    timer.start();
    ASSERT_EQ(run(get({QStringLiteral("--limit-rate"), QStringLiteral("5M")})), 0) << m_err;
    EXPECT_GT(timer.elapsed(), leastMs);
    ASSERT_TRUE(QFile::remove(m_directory.path(QStringLiteral("down/big"))));
    ASSERT_EQ(run(get({})), 0) << "the limit is gone with its task: " << m_err;
}

TEST_F(LimitsTest, RemovesWhatHasArrivedOnTheServerWhenToldTo)
{
    Program client(put({QStringLiteral("--discard"), QStringLiteral("--limit-rate"), QStringLiteral("5M")}));
    ASSERT_TRUE(waitUntil([&] { return sizeOf(m_partial) > 1 << 20; })) << qPrintable(client.err());
    client.signal(SIGINT);
    EXPECT_EQ(client.waitForEnd(20000), ExitStatus::interrupted) << qPrintable(client.err());
    EXPECT_THAT(client.err().toStdString(), HasSubstr("discarded: big"));
    EXPECT_FALSE(QFile::exists(m_partial));
    EXPECT_FALSE(m_directory.exists(QStringLiteral("srv/big")));
    EXPECT_EQ(run(put({})), 0) << "nothing is left reserved: " << m_err;
}

TEST_F(LimitsTest, RemovesWhatHasArrivedAtTheSecondInterrupt)
{
    Program client(put({QStringLiteral("--limit-rate"), QStringLiteral("5M")}));
    ASSERT_TRUE(waitUntil([&] { return sizeOf(m_partial) > 1 << 20; })) << qPrintable(client.err());
    client.signal(SIGINT);
    ASSERT_TRUE(waitUntil([&] { return client.err().contains(QStringLiteral("interrupted: big")); }));
    client.signal(SIGINT);
    EXPECT_EQ(client.waitForEnd(20000), ExitStatus::interrupted) << qPrintable(client.err());
    EXPECT_FALSE(QFile::exists(m_partial)) << qPrintable(client.err());
}

TEST_F(LimitsTest, RemovesWhatHasArrivedHereWhenToldTo)
{
    ASSERT_EQ(run(put({})), 0) << m_err;
    const QString partial = VESK::temporaryPath(m_directory.path(QStringLiteral("down/big")));
    Program client(get({QStringLiteral("--discard"), QStringLiteral("--limit-rate"), QStringLiteral("5M")}));
    ASSERT_TRUE(waitUntil([&] { return sizeOf(partial) > 1 << 20; })) << qPrintable(client.err());
    client.signal(SIGINT);
    EXPECT_EQ(client.waitForEnd(20000), ExitStatus::interrupted) << qPrintable(client.err());
    EXPECT_FALSE(QFile::exists(partial));
}

TEST_F(LimitsTest, FailsWhenNothingWasToBeDone)
{
    ASSERT_EQ(run(put({QStringLiteral("--fail-if-nothing")})), 0) << m_err;
    EXPECT_EQ(run(put({QStringLiteral("--fail-if-nothing")})), ExitStatus::nothingToDo) << m_err;
    EXPECT_EQ(m_summary.value(QStringLiteral("exitCode")).toInt(), ExitStatus::nothingToDo);
}

TEST_F(LimitsTest, TriesAgainAsOftenAndAsSoonAsToldTo)
{
    Program client(put({QStringLiteral("--limit-rate"), QStringLiteral("5M"), QStringLiteral("--retries"),
                        QStringLiteral("2"), QStringLiteral("--retry-wait"), QStringLiteral("0.2")}));
    ASSERT_TRUE(waitUntil([&] { return sizeOf(m_partial) > 1 << 20; })) << qPrintable(client.err());
    m_server->program().kill();
    EXPECT_EQ(client.waitForEnd(), 9) << qPrintable(client.err());
    EXPECT_EQ(client.err().count(QStringLiteral("Trying again")), 2) << qPrintable(client.err());
}

} // namespace
