#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <gmock/gmock.h>

#include <sys/wait.h>

#include <csignal>

using namespace VESK::Test;

namespace
{

QString serverUrl(const QByteArray &errors)
{
    static const QRegularExpression ready(QStringLiteral("on 127\\.0\\.0\\.1:([0-9]+)\n"));
    const QRegularExpressionMatch match = ready.match(QString::fromUtf8(errors));
    return match.hasMatch() ? QStringLiteral("vesk://127.0.0.1:%1/in").arg(match.captured(1)) : QString();
}

/// A server whose stderr is a pipe, read until it is ready and no further.
class UnreadServer
{
public:
    explicit UnreadServer(const QString &directory)
    {
        leaveHome();
        m_process.setReadChannel(QProcess::StandardError);
        m_process.start(QStringLiteral(VESK_PROGRAM),
                        {QStringLiteral("serve"), directory, QStringLiteral("--listen"),
                         QStringLiteral("127.0.0.1:0"), QStringLiteral("-v")});
        QByteArray errors;
        while (m_url.isEmpty() && m_process.waitForReadyRead(30000)) {
            errors += m_process.readAllStandardError();
            m_url = serverUrl(errors);
        }
    }

    ~UnreadServer()
    {
        m_process.kill();
        (void)m_process.waitForFinished(); // nothing survives it
    }

    QString url() const { return m_url; }

    /// Ends by SIGTERM alone, still unread.
    bool ends()
    {
        const auto id = static_cast<pid_t>(m_process.processId());
        ::kill(id, SIGTERM);
        return waitUntil([&] {
            siginfo_t info{};
            return ::waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) == 0
                && info.si_pid == id;
        });
    }

private:
    QProcess m_process{nullptr};
    QString m_url;
};

TEST(ServerEndTest, TransfersGoOnThoughNobodyReadsTheLog)
{
    const TempDir directory;
    ASSERT_TRUE(directory.mkdir(QStringLiteral("in")));
    // Each file makes for some two thousand bytes of log, and a pipe takes 65,536.
    constexpr int files = 120;
    for (int i = 0; i < files; ++i)
        ASSERT_TRUE(
            directory.write(QStringLiteral("from/%1%2").arg(QString(200, 'n'), QString::number(i)), "x"));
    UnreadServer server(directory.path(QStringLiteral("in")));
    ASSERT_FALSE(server.url().isEmpty());

    Program client(
        {QStringLiteral("put"), QStringLiteral("-r"), directory.path(QStringLiteral("from")), server.url()});
    EXPECT_EQ(client.waitForEnd(), 0) << client.err().toStdString();
    EXPECT_TRUE(server.ends());
}

TEST(ServerEndTest, ComesSoonThoughAHugeFileIsBeingHashed)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write(QStringLiteral("in/huge"), ""));
    // Takes no space, and minutes to hash.
    ASSERT_TRUE(QFile::resize(directory.path(QStringLiteral("in/huge")), Q_INT64_C(200) << 30));
    ServerProgram server(directory.path(QStringLiteral("in")), 0,
                         {QStringLiteral("--drain-time"), QStringLiteral("0")});
    Program client({QStringLiteral("get"), server.url(QStringLiteral("in/huge")),
                    directory.path(QStringLiteral("out")), QStringLiteral("--verify"),
                    QStringLiteral("sha256")});
    ASSERT_TRUE(waitUntil([&] { return server.program().err().contains(QLatin1String("downloadRespond:")); }))
        << server.program().err().toStdString() << client.err().toStdString();

    server.program().signal(SIGTERM);
    EXPECT_EQ(server.program().waitForEnd(30000), 0) << server.program().err().toStdString();
    EXPECT_THAT(server.program().err().toStdString(), testing::HasSubstr("task that does not stop"));
}

} // namespace
