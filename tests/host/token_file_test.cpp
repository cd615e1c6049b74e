#include "host/hello/hello_proof.h"
#include "host/hello/token_file.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QFile>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstring>

using namespace VESK::Host;
using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

mode_t modeOf(const QString &path)
{
    struct stat status {
    };
    EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &status), 0);
    return status.st_mode & 07777;
}

class TokenFileTest : public testing::Test
{
protected:
    void SetUp() override
    {
        qputenv("XDG_CONFIG_HOME", m_directory.path().toUtf8());
        m_file = m_directory.path("vesk/token"_s);
    }

    bool isReadable() { return readTokenFile(m_file, &m_error).has_value(); }

    std::string error() const { return m_error.toStdString(); }

    TempDir m_directory;
    QString m_file;
    QString m_error;
};

TEST(TokenTest, SurvivesAsText)
{
    const Token token = Token::random();
    const std::optional<Token> copy = Token::fromText(' ' + token.text() + "\r\n");
    ASSERT_TRUE(copy);
    EXPECT_EQ(std::memcmp(copy->data(), token.data(), Token::size), 0);
}

TEST(TokenTest, IsNoTextThatAPersonMadeUp)
{
    const QByteArray text = Token::random().text();
    EXPECT_EQ(text.size(), 43);
    for (const QByteArray &wrong : {QByteArray(), QByteArray("secret"), text.left(42), text + "AAAA",
                                    QByteArray(43, '!'), text + '\0', QByteArray(2000, 'A')})
        EXPECT_FALSE(Token::fromText(wrong)) << wrong.constData();
}

TEST_F(TokenFileTest, HasItsUsualPlaces)
{
    EXPECT_EQ(defaultTokenFile(), m_file);
    EXPECT_EQ(hostTokenFile("nas.example.org"_s), m_directory.path("vesk/tokens/nas.example.org"_s));
    EXPECT_EQ(hostTokenFile("2001:db8::7"_s), m_directory.path("vesk/tokens/2001:db8::7"_s));
    EXPECT_EQ(hostTokenFile("../token"_s), QString());
    EXPECT_EQ(hostTokenFile("a/b"_s), QString());
    EXPECT_EQ(hostTokenFile(QString()), QString());
    qputenv("XDG_CONFIG_HOME", "relative");
    qputenv("HOME", "/home/somebody");
    EXPECT_EQ(defaultTokenFile(), "/home/somebody/.config/vesk/token"_s);
}

TEST_F(TokenFileTest, IsMadeForItsOwnerAlone)
{
    ASSERT_TRUE(makeTokenFile(m_file, &m_error)) << error();
    EXPECT_EQ(modeOf(m_file), 0600U);
    EXPECT_EQ(modeOf(m_directory.path("vesk"_s)), 0700U);
    EXPECT_TRUE(isReadable()) << error();
    EXPECT_EQ(m_directory.entries(), (QStringList{"vesk/"_s, "vesk/token"_s}));
}

TEST_F(TokenFileTest, IsNotReplaced)
{
    ASSERT_TRUE(makeTokenFile(m_file, &m_error));
    const QByteArray before = m_directory.read("vesk/token"_s);
    EXPECT_TRUE(makeTokenFile(m_file, &m_error));
    EXPECT_EQ(m_directory.read("vesk/token"_s), before);
    EXPECT_EQ(m_directory.entries(), (QStringList{"vesk/"_s, "vesk/token"_s}));
}

TEST_F(TokenFileTest, IsAnotherOneEachTime)
{
    ASSERT_TRUE(makeTokenFile(m_file, &m_error));
    ASSERT_TRUE(makeTokenFile(m_directory.path("other"_s), &m_error));
    EXPECT_NE(m_directory.read("vesk/token"_s), m_directory.read("other"_s));
}

TEST_F(TokenFileTest, IsRefusedWhenOthersCanGetAtIt)
{
    ASSERT_TRUE(makeTokenFile(m_file, &m_error));
    for (const mode_t mode : {0604U, 0640U, 0602U, 0620U}) {
        ASSERT_EQ(::chmod(QFile::encodeName(m_file).constData(), mode), 0);
        EXPECT_FALSE(isReadable()) << mode;
        EXPECT_THAT(error(), HasSubstr("chmod 600 "));
    }
    ASSERT_EQ(::chmod(QFile::encodeName(m_file).constData(), 0400), 0);
    EXPECT_TRUE(isReadable()) << error();
}

TEST_F(TokenFileTest, ThatIsMissingOrNoneIsTold)
{
    EXPECT_FALSE(isReadable());
    EXPECT_THAT(error(), HasSubstr("No such file"));

    ASSERT_TRUE(m_directory.write("vesk/token"_s, "my secret\n"));
    ASSERT_EQ(::chmod(QFile::encodeName(m_file).constData(), 0600), 0);
    EXPECT_FALSE(isReadable());
    EXPECT_THAT(error(), HasSubstr("holds no token"));

    m_file = m_directory.path("vesk"_s);
    EXPECT_FALSE(isReadable());
    EXPECT_THAT(error(), HasSubstr("is no regular file"));
}

TEST_F(TokenFileTest, ThatIsAPipeDoesNotBlock)
{
    ASSERT_TRUE(m_directory.mkdir("vesk"_s));
    ASSERT_EQ(::mkfifo(QFile::encodeName(m_file).constData(), 0600), 0);
    EXPECT_FALSE(isReadable());
    EXPECT_THAT(error(), HasSubstr("is no regular file"));
}

TEST_F(TokenFileTest, CannotBeMadeBelowAFile)
{
    ASSERT_TRUE(m_directory.write("vesk"_s, "x"));
    EXPECT_FALSE(makeTokenFile(m_file, &m_error));
    EXPECT_NE(m_error, QString());
}

} // namespace
