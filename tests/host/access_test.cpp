#include "host/hello/token_file.h"

#include "tests/host/exit_status.h"
#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QFile>

#include <gmock/gmock.h>

using namespace VESK::Test;
using testing::HasSubstr;
using testing::Not;

namespace
{

/// Who gets in, and what he may do there.
class AccessTest : public testing::Test
{
protected:
    void SetUp() override
    {
        for (const QString &share : {"r"_s, "w"_s, "rw"_s})
            ASSERT_TRUE(m_directory.write(share + "/there"_s, "old"));
        ASSERT_TRUE(m_directory.write("file"_s, "content"));
    }

    QStringList shares() const
    {
        QStringList options;
        for (const QString &name : {"r"_s, "w"_s, "rw"_s})
            options << "--share"_s << QStringLiteral("%1=%2:%1").arg(name, m_directory.path(name));
        return options;
    }

    int run(const QStringList &arguments)
    {
        Program client(arguments);
        const int code = client.waitForEnd();
        m_out = client.out().toStdString();
        m_err = client.err().toStdString();
        return code;
    }

    int put(const ServerProgram &server, const QString &place, const QStringList &more = {})
    {
        return run(QStringList{"put"_s, m_directory.path("file"_s), server.url(place)} + more);
    }

    QString makeToken(const QString &name)
    {
        QString error;
        const QString path = m_directory.path(name);
        EXPECT_TRUE(VESK::Host::makeTokenFile(path, &error)) << error.toStdString();
        return path;
    }

    TempDir m_directory;
    std::string m_out;
    std::string m_err;
};

TEST_F(AccessTest, IsByTheRightsOfTheShare)
{
    ServerProgram server(m_directory.path("rw"_s), 0, QStringList{"--name"_s, "main"_s} + shares());
    const QString target = m_directory.path("back"_s);
    for (const QString &share : {"r"_s, "w"_s, "rw"_s, "main"_s}) {
        const int reading = share == "w"_s ? ExitStatus::notAllowed : 0;
        const int writing = share == "r"_s ? ExitStatus::notAllowed : 0;
        EXPECT_EQ(put(server, share), writing) << qPrintable(share) << m_err;
        EXPECT_EQ(run({"mkdir"_s, server.url(share + "/new"_s)}), writing) << qPrintable(share) << m_err;
        if (writing != 0) {
            EXPECT_THAT(m_err, HasSubstr("you may not write to its share \"r\""));
        }
        EXPECT_EQ(run({"ls"_s, server.url(share)}), reading) << qPrintable(share) << m_err;
        EXPECT_EQ(run({"get"_s, server.url(share + "/there"_s), target}), reading)
            << qPrintable(share) << m_err;
        if (reading != 0) {
            EXPECT_THAT(m_err, HasSubstr("you may not read from its share \"w\""));
        }
    }
    EXPECT_FALSE(m_directory.exists("r/file"_s));
    EXPECT_FALSE(m_directory.exists("r/new"_s));
    EXPECT_EQ(m_directory.read("w/file"_s), QByteArray("content"));
    EXPECT_EQ(m_directory.read("rw/file"_s), QByteArray("content"));
}

TEST_F(AccessTest, EndsAtTheSharesThatAreThere)
{
    ServerProgram server(QString(), 0, shares());
    EXPECT_EQ(put(server, "nope"_s), ExitStatus::refused);
    EXPECT_THAT(m_err, HasSubstr("it has no share \"nope\""));
    EXPECT_EQ(put(server, "rw"_s), 0) << m_err;
}

TEST_F(AccessTest, IsForThoseWhoHaveTheToken)
{
    const QStringList token = {"--token-file"_s, makeToken("token"_s)};
    ServerProgram server(m_directory.path("rw"_s), 0, token);
    EXPECT_EQ(put(server, "rw"_s), ExitStatus::notAllowed);
    EXPECT_THAT(m_err, testing::AnyOf(HasSubstr("there is none here"), HasSubstr("does not know the token")));
    EXPECT_EQ(put(server, "rw"_s, {"--token-file"_s, makeToken("other"_s)}), ExitStatus::notAllowed);
    EXPECT_THAT(m_err, HasSubstr("does not know the token of"));
    EXPECT_FALSE(m_directory.exists("rw/file"_s));
    EXPECT_EQ(put(server, "rw"_s, token), 0) << m_err;
    EXPECT_EQ(m_directory.read("rw/file"_s), QByteArray("content"));
}

TEST_F(AccessTest, IsNotByATokenThatOthersCanRead)
{
    const QString file = makeToken("token"_s);
    ServerProgram server(m_directory.path("rw"_s), 0, {"--token-file"_s, file});
    ASSERT_TRUE(QFile::setPermissions(file, QFileDevice::Permissions(0x6644)));
    EXPECT_EQ(put(server, "rw"_s, {"--token-file"_s, file}), ExitStatus::usage);
    EXPECT_THAT(m_err, HasSubstr("chmod 600 "));
    Program second(
        {"serve"_s, m_directory.path("rw"_s), "--listen"_s, "127.0.0.1:0"_s, "--token-file"_s, file});
    EXPECT_EQ(second.waitForEnd(), ExitStatus::usage);
    EXPECT_THAT(second.err().toStdString(), HasSubstr("chmod 600 "));
}

TEST_F(AccessTest, MakesATokenAtTheFirstStart)
{
    const QString file = m_directory.path("config/token"_s);
    {
        ServerProgram server(m_directory.path("rw"_s), 0, {"--token-file"_s, file});
        EXPECT_NE(server.port(), 0);
        EXPECT_THAT(server.program().err().toStdString(), HasSubstr("(made just now)"));
    }
    const QByteArray token = m_directory.read("config/token"_s);
    EXPECT_EQ(QFile::permissions(file) & QFileDevice::Permissions(0x0077), QFileDevice::Permissions());
    ServerProgram server(m_directory.path("rw"_s), 0, {"--token-file"_s, file});
    EXPECT_THAT(server.program().err().toStdString(), Not(HasSubstr("(made just now)")));
    EXPECT_EQ(m_directory.read("config/token"_s), token);
    EXPECT_THAT(server.program().err().toStdString(), Not(HasSubstr(token.trimmed().toStdString())));
}

TEST_F(AccessTest, IsForEverybodyOnlyWhenSaidSo)
{
    ServerProgram server(m_directory.path("rw"_s), 0, {"--auth"_s, "none"_s});
    EXPECT_THAT(server.program().err().toStdString(), HasSubstr("whoever reaches the port"));
    EXPECT_EQ(put(server, "rw"_s), 0) << m_err;
    EXPECT_EQ(put(server, "rw"_s, {"--token-file"_s, makeToken("token"_s)}), ExitStatus::noCommonGround);
    EXPECT_THAT(m_err, HasSubstr("asks for no token"));
}

TEST_F(AccessTest, OfTheWorldNeedsTheToken)
{
    Program server({"serve"_s, m_directory.path("rw"_s), "--listen"_s, "0.0.0.0:0"_s, "--token-file"_s,
                    makeToken("token"_s)});
    ASSERT_TRUE(waitUntil([&] { return server.err().contains("not encrypted"_s); }));
    EXPECT_THAT(server.err().toStdString(), HasSubstr("scp "));
    const QString port = server.err().section(QLatin1Char('\n'), 0, 0).section(QLatin1Char(':'), -1);
    const QString place = QStringLiteral("vesk://127.0.0.1:%1/rw").arg(port);
    EXPECT_EQ(run({"put"_s, m_directory.path("file"_s), place}), ExitStatus::notAllowed);
    EXPECT_EQ(
        run({"put"_s, m_directory.path("file"_s), place, "--token-file"_s, m_directory.path("token"_s)}), 0)
        << m_err;
}

TEST_F(AccessTest, RefusesSharesThatCannotBe)
{
    const QString good = QStringLiteral("a=%1").arg(m_directory.path("rw"_s));
    for (const QStringList &options : {
             QStringList(),
             QStringList{"--share"_s, "a=/does/not/exist"_s},
             QStringList{"--share"_s, "nonsense"_s},
             QStringList{"--share"_s, good, "--share"_s, good},
         }) {
        Program server(QStringList{"serve"_s, "--listen"_s, "127.0.0.1:0"_s} + options);
        EXPECT_EQ(server.waitForEnd(), ExitStatus::usage) << qPrintable(options.join(' '));
    }
}

TEST_F(AccessTest, WarnsOfLoopingLinks)
{
    ASSERT_TRUE(QFile::link("."_s, m_directory.path("rw/loop"_s)));
    ServerProgram server(m_directory.path("rw"_s));
    EXPECT_TRUE(waitUntil([&] { return server.program().err().contains("rw/loop leads back to"_s); }));
}

} // namespace
