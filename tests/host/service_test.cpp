#include "tests/host/client_test.h"
#include "tests/host/exit_status.h"

#include "vesk_base/paths.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>

#include <gmock/gmock.h>

#include <csignal>

// A server as an administrator keeps it: settings that change, what it tells of itself, and what it does
// beside serving.

using namespace VESK::Test;
using testing::HasSubstr;
using testing::Not;

namespace
{

class ServiceTest : public ClientTest
{
protected:
    static constexpr qint64 fileSize = 30 << 20; // bytes; some seconds at the rate below

    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
        ASSERT_TRUE(m_directory.write(QStringLiteral("f"), "content"));
    }

    void start(const QStringList &options)
    {
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("in")), 0, options);
        ASSERT_NE(m_server->port(), 0) << qPrintable(m_server->program().err());
    }

    void startWithConfiguration(const QString &text)
    {
        configure(text);
        m_server = std::make_unique<ServerProgram>(
            QString(), 0,
            QStringList{QStringLiteral("--config"), m_directory.path(QStringLiteral("vesk.toml"))});
        ASSERT_NE(m_server->port(), 0) << qPrintable(m_server->program().err());
    }

    void configure(const QString &text)
    {
        ASSERT_TRUE(m_directory.write(QStringLiteral("vesk.toml"), text.toUtf8()));
    }

    QString shareWith(const QString &rights) const
    {
        return QStringLiteral("[serve]\nshare = [\"in=%1:%2\"]\n")
            .arg(m_directory.path(QStringLiteral("in")), rights);
    }

    bool serverSays(const QString &text)
    {
        return waitUntil([&] { return m_server->program().err().contains(text); });
    }

    void reload(const QString &answer)
    {
        m_server->program().signal(SIGHUP);
        EXPECT_TRUE(serverSays(answer)) << qPrintable(m_server->program().err());
    }

    int put(const QStringList &more = {})
    {
        return run(QStringList{QStringLiteral("put"), m_directory.path(QStringLiteral("f")),
                               m_server->url(QStringLiteral("in"))}
                   + more);
    }

    // An upload that takes some seconds, on its way.
    std::unique_ptr<Program> slowPut(const QStringList &more = {}, const QStringList &wrapper = {})
    {
        EXPECT_TRUE(m_directory.write(QStringLiteral("big"), pattern(fileSize)));
        auto client = std::make_unique<Program>(
            QStringList{QStringLiteral("put"), QStringLiteral("--limit-rate"), QStringLiteral("8M"),
                        m_directory.path(QStringLiteral("big")), m_server->url(QStringLiteral("in"))}
                + more,
            wrapper);
        EXPECT_TRUE(waitUntil([&] { return sizeOf(partialOf(QStringLiteral("in/big"))) > 0; }))
            << qPrintable(client->err());
        return client;
    }

    QString partialOf(const QString &name) const { return VESK::temporaryPath(m_directory.path(name)); }

    std::unique_ptr<ServerProgram> m_server;
};

TEST_F(ServiceTest, ReadsItsSettingsAnewOnSighup)
{
    startWithConfiguration(shareWith(QStringLiteral("r")));
    EXPECT_EQ(put(), ExitStatus::notAllowed);
    configure(shareWith(QStringLiteral("rw")));
    reload(QStringLiteral("settings read anew; shares: in (rw)"));
    EXPECT_EQ(put(), 0) << m_err;
}

TEST_F(ServiceTest, KeepsItsSettingsWhenNewOnesAreWrong)
{
    startWithConfiguration(shareWith(QStringLiteral("rw")));
    configure(QStringLiteral("[serve]\nlisten = 7\n[[["));
    reload(QStringLiteral("the settings stay as they are"));
    EXPECT_EQ(put(), 0) << m_err;
    configure(QStringLiteral("[serve]\nshare = [\"in=/does/not/exist\"]\n"));
    reload(QStringLiteral("/does/not/exist is not a directory"));
    EXPECT_EQ(put(), 0) << m_err;
}

TEST_F(ServiceTest, TellsWhatHoldsFromTheNextStartOnly)
{
    startWithConfiguration(shareWith(QStringLiteral("rw")));
    configure(shareWith(QStringLiteral("rw")) + QStringLiteral("mtu = 1300\n"));
    reload(QStringLiteral("--mtu will hold from the next start on"));
}

TEST_F(ServiceTest, FinishesWhatRunsByTheSettingsItBeganWith)
{
    startWithConfiguration(shareWith(QStringLiteral("rw")));
    const auto client = slowPut();
    configure(shareWith(QStringLiteral("r")));
    reload(QStringLiteral("shares: in (r)"));
    EXPECT_EQ(client->waitForEnd(), 0) << qPrintable(client->err());
    EXPECT_EQ(put(), ExitStatus::notAllowed);
}

TEST_F(ServiceTest, TellsItsConnectionsOnSigusr1)
{
    start({});
    const auto client = slowPut({QStringLiteral("--user"), QStringLiteral("ada")});
    m_server->program().signal(SIGUSR1);
    EXPECT_TRUE(serverSays(QStringLiteral("status: 1 connection\n")));
    EXPECT_TRUE(serverSays(QStringLiteral("of 30.0 MiB"))) << qPrintable(m_server->program().err());
    EXPECT_THAT(m_server->program().err().toStdString(), HasSubstr(" ada, for "));
    EXPECT_THAT(m_server->program().err().toStdString(),
                HasSubstr("upload " + m_directory.path(QStringLiteral("in/big")).toStdString()));
}

TEST_F(ServiceTest, LeavesSpaceForOthers)
{
    start({QStringLiteral("--min-free"), QStringLiteral("4000T")});
    EXPECT_EQ(put(), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("not enough free space"));
}

TEST_F(ServiceTest, LetsOneUserTakeSoManyPlacesOnly)
{
    start({QStringLiteral("--max-tasks-per-user"), QStringLiteral("1")});
    const auto client = slowPut({QStringLiteral("--user"), QStringLiteral("ada")});
    EXPECT_EQ(put({QStringLiteral("--user"), QStringLiteral("bob")}), 0) << m_err;
    EXPECT_EQ(put({QStringLiteral("--user"), QStringLiteral("ada"), QStringLiteral("--retries"),
                   QStringLiteral("0")}),
              ExitStatus::refused)
        << m_err;
    EXPECT_THAT(m_err, HasSubstr("too many connections"));
    EXPECT_EQ(client->waitForEnd(), 0) << qPrintable(client->err());
    EXPECT_EQ(put({QStringLiteral("--user"), QStringLiteral("ada")}), 0) << m_err;
}

TEST_F(ServiceTest, LogsAsJson)
{
    start({QStringLiteral("--log-format"), QStringLiteral("json")});
    ASSERT_EQ(put(), 0) << m_err;
    ASSERT_TRUE(serverSays(QStringLiteral(" done")));
    int lines = 0;
    for (const QString &line : m_server->program().err().split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (!line.startsWith(QLatin1Char('{')))
            continue; // of the announcement
        ++lines;
        const QJsonObject event = QJsonDocument::fromJson(line.toUtf8()).object();
        EXPECT_EQ(event.value(QStringLiteral("event")).toString().toStdString(), "log") << qPrintable(line);
        EXPECT_FALSE(event.value(QStringLiteral("level")).toString().isEmpty()) << qPrintable(line);
        EXPECT_FALSE(event.value(QStringLiteral("time")).toString().isEmpty()) << qPrintable(line);
    }
    EXPECT_GT(lines, 1);
}

TEST_F(ServiceTest, CountsForPrometheus)
{
    const QString file = m_directory.path(QStringLiteral("vesk.prom"));
    start({QStringLiteral("--metrics"), file});
    ASSERT_EQ(put(), 0) << m_err;
    EXPECT_EQ(run({QStringLiteral("get"), m_server->url(QStringLiteral("in/nothing")), m_directory.path()}),
              5);
    m_server->program().signal(SIGTERM);
    ASSERT_EQ(m_server->program().waitForEnd(), 0);
    const std::string text = m_directory.read(QStringLiteral("vesk.prom")).toStdString();
    EXPECT_THAT(text, HasSubstr("\nvesk_tasks_total{operation=\"upload\",result=\"done\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("\nvesk_moved_bytes_total{operation=\"upload\"} 7\n"));
    EXPECT_THAT(text, HasSubstr("\nvesk_refusals_total{reason=\"FileNotExist\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("\nvesk_connections 0\n"));
    EXPECT_THAT(text, HasSubstr("\nvesk_connections_total 2\n"));
    EXPECT_THAT(text, Not(HasSubstr("nan")));
}

TEST_F(ServiceTest, RunsAProgramForEachFileThatWasUploaded)
{
    ASSERT_TRUE(m_directory.write(
        QStringLiteral("hook"), "#!/bin/sh\necho \"$1 $VESK_SHARE $VESK_USER $VESK_BYTES\" >> \"$0.out\"\n"));
    const QString hook = m_directory.path(QStringLiteral("hook"));
    ASSERT_TRUE(QFile::setPermissions(hook, QFileDevice::Permissions(0x7755)));
    start({QStringLiteral("--on-done"), hook});
    ASSERT_EQ(put({QStringLiteral("--user"), QStringLiteral("ada")}), 0) << m_err;
    ASSERT_EQ(put({QStringLiteral("--user"), QStringLiteral("ada")}), 0) << "nothing to be done: " << m_err;
    m_server->program().signal(SIGTERM);
    EXPECT_TRUE(waitUntil([&] { return sizeOf(hook + QStringLiteral(".out")) > 0; }));
    EXPECT_EQ(m_server->program().waitForEnd(), 0);
    EXPECT_EQ(m_directory.read(QStringLiteral("hook.out")).toStdString(),
              m_directory.path(QStringLiteral("in/f")).toStdString() + " in ada 7\n");
}

TEST_F(ServiceTest, TellsThatTheProgramFailed)
{
    start({QStringLiteral("--on-done"), QStringLiteral("false")});
    ASSERT_EQ(put(), 0) << m_err;
    EXPECT_TRUE(serverSays(QStringLiteral("false failed for "))) << qPrintable(m_server->program().err());
}

TEST_F(ServiceTest, RemovesPartialCopiesThatNobodyWentOnWith)
{
    const QString old = partialOf(QStringLiteral("in/old"));
    const QString fresh = partialOf(QStringLiteral("in/d/fresh"));
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in/d")));
    ASSERT_TRUE(m_directory.write(QStringLiteral("in/plain"), "p"));
    for (const QString &path : {old, fresh, m_directory.path(QStringLiteral("in/plain"))}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        if (path != fresh) {
            ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addDays(-31),
                                         QFileDevice::FileModificationTime));
        }
    }
    start({QStringLiteral("--partials-max-age"), QStringLiteral("30d")});
    EXPECT_TRUE(serverSays(QStringLiteral("share in holds 1 partial upload of")))
        << qPrintable(m_server->program().err());
    EXPECT_FALSE(QFileInfo::exists(old));
    EXPECT_TRUE(QFileInfo::exists(fresh));
    EXPECT_TRUE(m_directory.exists(QStringLiteral("in/plain")));
}

TEST_F(ServiceTest, DoesNotLetTheWorldInWithoutAToken)
{
    const QStringList open = {QStringLiteral("serve"), m_directory.path(QStringLiteral("in")),
                              QStringLiteral("--auth"), QStringLiteral("none"), QStringLiteral("--listen")};
    for (const char *const address : {"0.0.0.0:0", "[::]:0", "192.0.2.1:0"}) {
        EXPECT_EQ(run(open + QStringList{QString::fromLatin1(address)}), ExitStatus::usage) << address;
        EXPECT_THAT(m_err, HasSubstr("lets everybody in")) << address;
    }
}

TEST_F(ServiceTest, ClientKeepsWhatHasArrivedWhenItsTerminalGoes)
{
    start({});
    const auto client = slowPut();
    client->signal(SIGHUP);
    EXPECT_EQ(client->waitForEnd(), ExitStatus::terminated) << qPrintable(client->err());
    EXPECT_THAT(client->err().toStdString(), HasSubstr("what has arrived is kept"));
    EXPECT_TRUE(QFileInfo::exists(partialOf(QStringLiteral("in/big"))));
}

TEST_F(ServiceTest, ClientUnderNohupGoesOnWhenItsTerminalGoes)
{
    start({});
    const auto client = slowPut({}, {QStringLiteral("nohup")});
    client->signal(SIGHUP);
    EXPECT_EQ(client->waitForEnd(), 0) << qPrintable(client->err());
}

} // namespace
