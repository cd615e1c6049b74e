#include "tests/host/program.h"
#include "tests/host/scripted_server.h"

#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>

using namespace VESK;
using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

const ParamMap accepted = {{QStringLiteral("ackRespond"), QStringLiteral("true")}};

ParamMap entries(const QStringList &paths, const QString &kind)
{
    ParamMap map;
    for (const QString &path : paths)
        map.insert(path, kind);
    return map;
}

ParamMap last(ParamMap map)
{
    map.insert(QStringLiteral("bLast"), QStringLiteral("true"));
    return map;
}

// Answers one task with a listing, and the download of each file in it with "no such file".
void listAndRefuse(ScriptedPeer &peer, const ParamMap &listing, QStringList *asked)
{
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, accepted));
    ASSERT_TRUE(peer.sendMap(MessageKind::ListContent, last(listing)));
    for (;;) {
        const std::optional<ParamMap> task = peer.recvMap(MessageKind::TaskParam);
        if (!task || task->value(QStringLiteral("operator")) != QLatin1String("download"))
            return;
        asked->append(task->value(QStringLiteral("srcPath")) + QLatin1Char('|')
                      + task->value(QStringLiteral("fileName")));
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck,
                                 {{QStringLiteral("ackRespond"), QStringLiteral("false")},
                                  {QStringLiteral("errorType"), QStringLiteral("FileNotExist")},
                                  {QStringLiteral("errorName"), QStringLiteral("/x\n\033[2J")}}));
    }
}

class HostileServerTest : public testing::Test
{
protected:
    int run(const QStringList &arguments)
    {
        Program client(arguments);
        const int code = client.waitForEnd();
        m_out = client.out();
        m_err = client.err().toStdString();
        return code;
    }

    QString target() const { return m_directory.path(QStringLiteral("a/b/out")); }

    TempDir m_directory;
    QString m_out;
    std::string m_err;
};

TEST_F(HostileServerTest, PutsNothingOutsideTheTargetDirectory)
{
    const QStringList bad = {
        QStringLiteral("/../../escaped"),
        QStringLiteral("/d/../../escaped"),
        QStringLiteral("/.."),
        QStringLiteral("/."),
        QStringLiteral("/"),
        QStringLiteral("//etc/escaped"),
        QStringLiteral("/d//escaped"),
        QStringLiteral("/d/"),
        QStringLiteral("escaped"),
        QStringLiteral("/nul") + QChar(0) + QStringLiteral("l"),
        QStringLiteral("/half") + QChar(0xD800),
        QStringLiteral("/.f.0123456789abcdef.vsktmp"),
        QString(),
    };
    for (const QString &kind : {QStringLiteral("file"), QStringLiteral("dir")}) {
        QStringList asked;
        {
            ScriptedServer server(
                [&](ScriptedPeer &peer) { listAndRefuse(peer, entries(bad, kind), &asked); });
            EXPECT_EQ(run({QStringLiteral("get"), QStringLiteral("-r"), QStringLiteral("-j1"),
                           ScriptedServer::url(QStringLiteral("s")), target()}),
                      1)
                << m_err;
        }
        EXPECT_EQ(asked, QStringList());
        EXPECT_THAT(m_err, HasSubstr("13 skipped"));
        EXPECT_THAT(m_err, HasSubstr("/nul\\u0000l"));
        EXPECT_EQ(m_directory.entries(),
                  (QStringList{QStringLiteral("a/"), QStringLiteral("a/b/"), QStringLiteral("a/b/out/"),
                               QStringLiteral("a/b/out/s/")}));
    }
}

TEST_F(HostileServerTest, TakesFitNamesBesideUnfitOnes)
{
    QStringList asked;
    {
        ScriptedServer server([&](ScriptedPeer &peer) {
            listAndRefuse(peer,
                          entries({QStringLiteral("/../x"), QStringLiteral("/..x/y.."), QStringLiteral("/ ")},
                                  QStringLiteral("file")),
                          &asked);
        });
        EXPECT_EQ(run({QStringLiteral("get"), QStringLiteral("-r"), QStringLiteral("-j1"),
                       ScriptedServer::url(QStringLiteral("s")), target()}),
                  1);
    }
    EXPECT_EQ(asked, (QStringList{QStringLiteral("| "), QStringLiteral("..x|y..")}));
    EXPECT_THAT(m_err, HasSubstr("no such file on the server"));
}

TEST_F(HostileServerTest, SkipsAKindThatIsNone)
{
    QStringList asked;
    {
        ScriptedServer server([&](ScriptedPeer &peer) {
            listAndRefuse(peer, {{QStringLiteral("/x"), QStringLiteral("device")}}, &asked);
        });
        EXPECT_EQ(run({QStringLiteral("get"), QStringLiteral("-r"), QStringLiteral("-j1"),
                       ScriptedServer::url(QStringLiteral("s")), target()}),
                  1);
    }
    EXPECT_EQ(asked, QStringList());
}

TEST_F(HostileServerTest, EndsWithItsReaderHoweverLongTheListing)
{
    ScriptedServer server([](ScriptedPeer &peer) {
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, accepted));
        const ParamMap batch = entries({QStringLiteral("/again")}, QStringLiteral("file"));
        while (peer.sendMap(MessageKind::ListContent, batch))
            continue;
    });
    const QString command = QStringLiteral("\"%1\" ls %2 | head -n 2")
                                .arg(QStringLiteral(VESK_PROGRAM), ScriptedServer::url(QStringLiteral("s")));
    QProcess shell;
    shell.start(QStringLiteral("bash"),
                {QStringLiteral("-o"), QStringLiteral("pipefail"), QStringLiteral("-c"), command});
    ASSERT_TRUE(shell.waitForFinished(60000));
    EXPECT_EQ(shell.exitCode(), 0);
    EXPECT_EQ(shell.readAllStandardOutput(), QByteArray("again\nagain\n"));
    EXPECT_EQ(shell.readAllStandardError(), QByteArray());
}

TEST_F(HostileServerTest, TellsAListingThatBreaksOff)
{
    ScriptedServer server([](ScriptedPeer &peer) {
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, accepted));
        ASSERT_TRUE(peer.sendMap(MessageKind::ListContent,
                                 entries({QStringLiteral("/first")}, QStringLiteral("file"))));
    });
    EXPECT_EQ(run({QStringLiteral("ls"), ScriptedServer::url(QStringLiteral("s"))}), 9) << m_err;
    EXPECT_EQ(m_out, QStringLiteral("first\n"));
    EXPECT_THAT(m_err, HasSubstr("the listing is not complete"));
}

TEST_F(HostileServerTest, TakesNothingFromAbsurdFactsAboutAFile)
{
    constexpr int attempts = 2; // a failed verification is tried once more
    for (const QString &number : {QStringLiteral("-9223372036854775808"), QStringLiteral("-5"),
                                  QStringLiteral("99999999999999999999"), QStringLiteral("x")}) {
        const auto script = [&](ScriptedPeer &peer) {
            ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
            ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck,
                                     {{QStringLiteral("ackRespond"), QStringLiteral("true")},
                                      {QStringLiteral("fileSize"), number},
                                      {QStringLiteral("mtime"), number},
                                      {QStringLiteral("verifyValue"), QStringLiteral("none")}}));
            const std::optional<ParamMap> result = peer.recvMap(MessageKind::FileVerifyResult);
            ASSERT_TRUE(result);
            EXPECT_EQ(result->value(QStringLiteral("verifyResult")), QStringLiteral("false"));
        };
        ScriptedServer server(script, attempts);
        EXPECT_EQ(run({QStringLiteral("get"), QStringLiteral("-j1"),
                       ScriptedServer::url(QStringLiteral("s/f")), target()}),
                  6)
            << qPrintable(number) << m_err;
        EXPECT_EQ(m_directory.entries(),
                  (QStringList{QStringLiteral("a/"), QStringLiteral("a/b/"), QStringLiteral("a/b/out/")}));
    }
}

} // namespace
