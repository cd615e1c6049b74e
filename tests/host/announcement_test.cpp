#include "host/server/announcement.h"
#include "host/user.h"

#include "tests/support/qt_text.h"

#include <gmock/gmock.h>

using namespace VESK;
using namespace VESK::Host;
using namespace VESK::Test;
using testing::HasSubstr;
using testing::Not;

namespace
{

class AnnouncementTest : public testing::Test
{
protected:
    void SetUp() override
    {
        Share share;
        share.name = "in"_s;
        share.directory = "/srv/in"_s;
        m_settings.shares = {share};
        m_announcement.tokenFile = "/home/ada/.config/vesk/token"_s;
    }

    std::string text(const QString &host, quint16 port = 8375)
    {
        QString error;
        const auto found = SocketAddress::resolve(host, port, AddressFamily::Any, &error);
        EXPECT_FALSE(found.empty()) << error.toStdString();
        m_announcement.address = found.front();
        return announcementText(m_settings, m_announcement).toStdString();
    }

    ServerSettings m_settings;
    Announcement m_announcement;
};

TEST_F(AnnouncementTest, HasTheLinesToPasteOnTheOtherMachine)
{
    EXPECT_EQ(text("203.0.113.7"_s),
              "serving in (/srv/in, rw) on 203.0.113.7:8375\n"
              "  token: /home/ada/.config/vesk/token; who has it may connect\n"
              "  on the other machine, once:\n"
              "    mkdir -p -m 700 ~/.config/vesk/tokens\n"
              "    scp "
                  + accountForCopying(::getuid()).toStdString()
                  + "@203.0.113.7:/home/ada/.config/vesk/token ~/.config/vesk/tokens/203.0.113.7\n"
                    "  then: vesk put FILE 203.0.113.7:in\n"
                    "  Data is not encrypted: anybody on the way can read it. docs/security.md has a "
                    "recipe for WireGuard.\n");
}

TEST(AccountForCopying, IsRootForServicesToWhichNobodyLogsIn)
{
    EXPECT_EQ(accountForCopying(0), "root"_s);
    EXPECT_EQ(accountForCopying(1), "root"_s);
    EXPECT_EQ(accountForCopying(4000000000), "4000000000"_s); // without a name
}

TEST_F(AnnouncementTest, WritesOtherPortsAndFamiliesAsTheClientReadsThem)
{
    EXPECT_THAT(text("203.0.113.7"_s, 9000), HasSubstr("vesk put FILE vesk://203.0.113.7:9000/in\n"));
    EXPECT_THAT(text("2001:db8::7"_s), HasSubstr("vesk put FILE '[2001:db8::7]:in'\n"));
    EXPECT_THAT(text("2001:db8::7"_s, 9000), HasSubstr("vesk put FILE 'vesk://[2001:db8::7]:9000/in'\n"));
}

TEST_F(AnnouncementTest, DoesNotSendOthersToTheWildcard)
{
    const std::string told = text("0.0.0.0"_s);
    EXPECT_THAT(told, HasSubstr("on 0.0.0.0:8375\n"));
    EXPECT_THAT(told, Not(HasSubstr("FILE 0.0.0.0")));
}

TEST_F(AnnouncementTest, OnLoopbackIsForThisMachine)
{
    const std::string told = text("127.0.0.1"_s);
    EXPECT_THAT(told, HasSubstr("only this machine gets there"));
    EXPECT_THAT(told, HasSubstr("vesk put FILE 127.0.0.1:in\n"));
    EXPECT_THAT(told, Not(HasSubstr("scp")));
}

TEST_F(AnnouncementTest, GivesExamplesThatTheRightsAllow)
{
    m_settings.shares.front().rights = {true, false};
    EXPECT_THAT(text("203.0.113.7"_s), HasSubstr("then: vesk get -r 203.0.113.7:in .\n"));
}

TEST_F(AnnouncementTest, QuotesNamesForTheShell)
{
    m_settings.shares.front().name = "it's $HOME"_s;
    EXPECT_THAT(text("203.0.113.7"_s), HasSubstr("vesk put FILE '203.0.113.7:it'\\''s $HOME'\n"));
}

TEST_F(AnnouncementTest, SaysThatNothingIsAsked)
{
    m_announcement.tokenFile.clear();
    const std::string told = text("203.0.113.7"_s);
    EXPECT_THAT(told, HasSubstr("no token: whoever reaches the port may use the shares\n"));
    EXPECT_THAT(told, Not(HasSubstr("scp")));
    EXPECT_THAT(told, HasSubstr("not encrypted"));
}

} // namespace
