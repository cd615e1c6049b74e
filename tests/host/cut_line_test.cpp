#include "tests/host/client_test.h"

#include "tests/faults/support/udp_relay.h"

#include "vesk_base/paths.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <gmock/gmock.h>

#include <arpa/inet.h>

#include <memory>

// The line between a client and a server is cut for longer than connections outlive it, and comes back.

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class CutLineTest : public ClientTest
{
protected:
    static constexpr qint64 fileSize = 30 << 20; // bytes; some seconds at the rate below
    static constexpr int smallFiles = 400;
    static constexpr int limitMs = 120000;
    static constexpr qint64 hugeFile = Q_INT64_C(200) << 30; // bytes; takes no space, and minutes to hash

    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv")));
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("srv")));
        ASSERT_NE(m_server->port(), 0);
        sockaddr_in server{};
        server.sin_family = AF_INET;
        server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        server.sin_port = htons(m_server->port());
        m_line = std::make_unique<UdpRelay>(server, PathWeather(), 1);
    }

    // Impatient, and slow enough to be cut off in the middle.
    QStringList client(const QStringList &arguments) const
    {
        return arguments + QStringList{QStringLiteral("--limit-rate"),    QStringLiteral("6M"),
                                       QStringLiteral("--stall-timeout"), QStringLiteral("1"),
                                       QStringLiteral("--retry-wait"),    QStringLiteral("0.2")};
    }

    QString url(const QString &path) const
    {
        return QStringLiteral("vesk://127.0.0.1:%1/%2")
            .arg(QString::number(ntohs(m_line->address().sin_port)), path);
    }

    // Until attempts to connect have failed, too.
    void cutFor(Program &client)
    {
        m_line->cut();
        EXPECT_TRUE(waitUntil([&] { return client.err().count(QStringLiteral("Trying again")) >= 3; }))
            << qPrintable(client.err());
        EXPECT_TRUE(client.isRunning());
        m_line->mend();
    }

    // A download for which the server first reads 200 GiB.
    QStringList hugeDownload() const
    {
        return {QStringLiteral("get"),
                QStringLiteral("--verify"),
                QStringLiteral("sha256"),
                QStringLiteral("--stall-timeout"),
                QStringLiteral("2"),
                QStringLiteral("--retries"),
                QStringLiteral("0"),
                QStringLiteral("--stats"),
                QStringLiteral("300ms"),
                url(QStringLiteral("srv/huge")),
                m_directory.path(QStringLiteral("out"))};
    }

    // And has been for some time, in which it was asked whether it is there.
    bool serverIsHashing(Program &get)
    {
        return waitUntil([&] {
            return m_server->program().err().contains(QStringLiteral("downloadRespond:"))
                && get.err().count(QStringLiteral("waiting for the server")) >= 4;
        });
    }

    void expectResumed(Program &client)
    {
        EXPECT_EQ(client.waitForEnd(limitMs), 0) << qPrintable(client.err());
        EXPECT_THAT(client.err().toStdString(), HasSubstr("nothing has "));
        EXPECT_GT(client.event(QStringLiteral("file")).value(QStringLiteral("from")).toDouble(), 0);
    }

    std::unique_ptr<ServerProgram> m_server;
    std::unique_ptr<UdpRelay> m_line;
};

TEST_F(CutLineTest, AnUploadGoesOnWhereItWas)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("big"), pattern(fileSize)));
    const QString partial = VESK::temporaryPath(m_directory.path(QStringLiteral("srv/big")));
    Program put(client({QStringLiteral("put"), QStringLiteral("--json"),
                        m_directory.path(QStringLiteral("big")), url(QStringLiteral("srv"))}));
    ASSERT_TRUE(waitUntil([&] { return sizeOf(partial) > fileSize / 8; })) << qPrintable(put.err());
    cutFor(put);
    expectResumed(put);
    EXPECT_TRUE(m_directory.read(QStringLiteral("srv/big")) == pattern(fileSize));
}

TEST_F(CutLineTest, ADownloadGoesOnWhereItWas)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/big"), pattern(fileSize)));
    const QString partial = VESK::temporaryPath(m_directory.path(QStringLiteral("big")));
    Program get(client({QStringLiteral("get"), QStringLiteral("--json"), url(QStringLiteral("srv/big")),
                        m_directory.path()}));
    ASSERT_TRUE(waitUntil([&] { return sizeOf(partial) > fileSize / 8; })) << qPrintable(get.err());
    cutFor(get);
    expectResumed(get);
    EXPECT_TRUE(m_directory.read(QStringLiteral("big")) == pattern(fileSize));
}

TEST_F(CutLineTest, ManyFilesGoOnOverSeveralConnections)
{
    for (int i = 0; i < smallFiles; ++i)
        ASSERT_TRUE(m_directory.write(QStringLiteral("src/f%1").arg(i), pattern(50000, i)));
    Program put(client({QStringLiteral("put"), QStringLiteral("-r"), QStringLiteral("-j4"),
                        m_directory.path(QStringLiteral("src")), url(QStringLiteral("srv"))}));
    const QString target = m_directory.path(QStringLiteral("srv/src"));
    ASSERT_TRUE(waitUntil([&] { return QDir(target).count() > smallFiles / 8; })) << qPrintable(put.err());
    m_line->cut();
    EXPECT_TRUE(waitUntil([&] { return put.err().contains(QStringLiteral("Trying again")); }, limitMs))
        << qPrintable(put.err());
    m_line->mend();
    EXPECT_EQ(put.waitForEnd(limitMs), 0) << qPrintable(put.err());
    for (int i = 0; i < smallFiles; ++i)
        ASSERT_EQ(m_directory.read(QStringLiteral("srv/src/f%1").arg(i)), pattern(50000, i)) << i;
}

TEST_F(CutLineTest, IsNoticedWhileTheServerHasNothingToSay)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/huge"), ""));
    ASSERT_TRUE(QFile::resize(m_directory.path(QStringLiteral("srv/huge")), hugeFile));
    Program get(hugeDownload());
    ASSERT_TRUE(serverIsHashing(get)) << qPrintable(get.err());
    const int before = m_line->lost();
    m_line->cut();
    // The library itself takes 47 s.
    EXPECT_EQ(get.waitForEnd(30000), 9) << qPrintable(get.err());
    EXPECT_THAT(get.err().toStdString(), HasSubstr("the connection was lost"));
    EXPECT_GT(m_line->lost(), before);
}

TEST_F(CutLineTest, IsNotSuspectedWhileTheServerHashesForLong)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/huge"), ""));
    ASSERT_TRUE(QFile::resize(m_directory.path(QStringLiteral("srv/huge")), hugeFile));
    Program get(hugeDownload());
    ASSERT_TRUE(serverIsHashing(get)) << qPrintable(get.err());
    EXPECT_EQ(get.waitForEnd(7000), -1) << "several times the stall timeout" << qPrintable(get.err());
    EXPECT_TRUE(get.isRunning());
    EXPECT_THAT(get.err().toStdString(), testing::Not(HasSubstr("warning")));
}

} // namespace
