#include "host/address.h"

#include <gmock/gmock.h>

using namespace VESK::Host;

namespace
{

RemoteAddress parsed(const QString &text)
{
    QString error;
    const std::optional<RemoteAddress> address = parseRemoteAddress(text, &error);
    EXPECT_TRUE(address) << qPrintable(text) << ": " << qPrintable(error);
    return address.value_or(RemoteAddress());
}

bool isRefused(const QString &text)
{
    QString error;
    return !parseRemoteAddress(text, &error) && !error.isEmpty();
}

TEST(RemoteAddressTest, TakesHostAndShare)
{
    const RemoteAddress address = parsed(QStringLiteral("nas:incoming"));
    EXPECT_EQ(address.host, QStringLiteral("nas"));
    EXPECT_EQ(address.share, QStringLiteral("incoming"));
    EXPECT_EQ(address.path, QString());
    EXPECT_EQ(address.user, QString());
    EXPECT_EQ(address.port, 0);
}

TEST(RemoteAddressTest, TakesUserAndDirectory)
{
    const RemoteAddress address = parsed(QStringLiteral("ann@nas.example.org:incoming/2026/spring/"));
    EXPECT_EQ(address.user, QStringLiteral("ann"));
    EXPECT_EQ(address.host, QStringLiteral("nas.example.org"));
    EXPECT_EQ(address.path, QStringLiteral("2026/spring"));
}

TEST(RemoteAddressTest, TakesIpv6InBrackets)
{
    const RemoteAddress address = parsed(QStringLiteral("[2001:db8::7]:incoming/a"));
    EXPECT_EQ(address.host, QStringLiteral("2001:db8::7"));
    EXPECT_EQ(address.share, QStringLiteral("incoming"));
    EXPECT_EQ(address.path, QStringLiteral("a"));
}

TEST(RemoteAddressTest, TakesUrlWithAndWithoutPort)
{
    const RemoteAddress with = parsed(QStringLiteral("vesk://ann@[::1]:9000/incoming/a/b"));
    EXPECT_EQ(with.user, QStringLiteral("ann"));
    EXPECT_EQ(with.host, QStringLiteral("::1"));
    EXPECT_EQ(with.port, 9000);
    EXPECT_EQ(with.path, QStringLiteral("a/b"));
    const RemoteAddress without = parsed(QStringLiteral("vesk://nas/incoming"));
    EXPECT_EQ(without.port, 0);
    EXPECT_EQ(without.share, QStringLiteral("incoming"));
}

TEST(RemoteAddressTest, TellsThatIpv6WantsBrackets)
{
    for (const char *const text : {"::1:in", "2001:db8::7:in/a", "ann@fe80::1:in", "::ffff:10.0.0.1:in"}) {
        QString error;
        EXPECT_FALSE(parseRemoteAddress(QString::fromLatin1(text), &error)) << text;
        EXPECT_THAT(error.toStdString(), testing::HasSubstr("brackets")) << text;
    }
    EXPECT_EQ(parsed(QStringLiteral("abc:de/f:a")).path, QStringLiteral("f:a"));
}

TEST(RemoteAddressTest, RefusesPortsThatNoServerHas)
{
    EXPECT_TRUE(isRefused(QStringLiteral("vesk://nas:0/in")));
    EXPECT_TRUE(isRefused(QStringLiteral("vesk://nas:65536/in")));
    EXPECT_EQ(parsed(QStringLiteral("vesk://nas:65535/in")).port, 65535);
}

TEST(RemoteAddressTest, DecodesEscapesInUrlsOnly)
{
    EXPECT_EQ(parsed(QStringLiteral("vesk://nas/in/%C3%BC%20%1")).path, QString::fromUtf8("ü %1"));
    EXPECT_EQ(parsed(QStringLiteral("nas:in/%C3%20")).path, QStringLiteral("%C3%20"));
}

TEST(RemoteAddressTest, KeepsColonsAndAtSignsOfTheDirectory)
{
    const RemoteAddress address = parsed(QStringLiteral("nas:in/a:b@c"));
    EXPECT_EQ(address.user, QString());
    EXPECT_EQ(address.path, QStringLiteral("a:b@c"));
}

TEST(RemoteAddressTest, DropsEmptyAndDotComponents)
{
    EXPECT_EQ(parsed(QStringLiteral("nas:in//a/./b/")).path, QStringLiteral("a/b"));
}

TEST(RemoteAddressTest, RefusesWhatNamesNoServerOrShare)
{
    EXPECT_TRUE(isRefused(QStringLiteral("incoming")));
    EXPECT_TRUE(isRefused(QStringLiteral("./a:b")));
    EXPECT_TRUE(isRefused(QStringLiteral(":incoming")));
    EXPECT_TRUE(isRefused(QStringLiteral("nas:")));
    EXPECT_TRUE(isRefused(QStringLiteral("nas:/")));
    EXPECT_TRUE(isRefused(QStringLiteral("vesk://nas")));
    EXPECT_TRUE(isRefused(QStringLiteral("vesk:///incoming")));
    EXPECT_TRUE(isRefused(QStringLiteral("[::1:incoming")));
    EXPECT_TRUE(isRefused(QString()));
}

TEST(RemoteAddressTest, RefusesParentDirectories)
{
    EXPECT_TRUE(isRefused(QStringLiteral("nas:in/../etc")));
    EXPECT_TRUE(isRefused(QStringLiteral("vesk://nas/in/%2E%2E/etc")));
}

TEST(RemoteAddressTest, RefusesBadPorts)
{
    EXPECT_TRUE(isRefused(QStringLiteral("vesk://nas:/in")));
    EXPECT_TRUE(isRefused(QStringLiteral("vesk://nas:65536/in")));
    EXPECT_TRUE(isRefused(QStringLiteral("vesk://nas:+1/in")));
    EXPECT_TRUE(isRefused(QStringLiteral("vesk://nas:x/in")));
}

TEST(ListenAddressTest, TakesAddressAndPortInEveryForm)
{
    QString error;
    EXPECT_EQ(parseListenAddress(QStringLiteral("10.0.0.1:99"), &error)->port, 99);
    EXPECT_EQ(parseListenAddress(QStringLiteral("10.0.0.1"), &error)->port, defaultPort);
    EXPECT_EQ(parseListenAddress(QStringLiteral(":0"), &error)->host, QStringLiteral("0.0.0.0"));
    EXPECT_EQ(parseListenAddress(QStringLiteral("[::1]:99"), &error)->host, QStringLiteral("::1"));
    EXPECT_EQ(parseListenAddress(QStringLiteral("[::1]"), &error)->port, defaultPort);
    EXPECT_FALSE(parseListenAddress(QString(), &error));
    EXPECT_FALSE(parseListenAddress(QStringLiteral("::1"), &error));
    EXPECT_FALSE(parseListenAddress(QStringLiteral("10.0.0.1:"), &error));
}

} // namespace
