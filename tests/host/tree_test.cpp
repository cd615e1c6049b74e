#include "tests/host/client_test.h"
#include "tests/host/exit_status.h"

#include "vesk_base/paths.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace VESK::Test;
using testing::HasSubstr;
using testing::Not;

namespace
{

class TreeTest : public ClientTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv")));
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("src")));
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("srv")));
        ASSERT_NE(m_server->port(), 0);
    }

    // "src" to the share's "up".
    int put()
    {
        return run({QStringLiteral("put"), QStringLiteral("-r"), QStringLiteral("--json"),
                    m_directory.path(QStringLiteral("src")), m_server->url(QStringLiteral("srv/up"))});
    }

    // From there to "back/src".
    int get()
    {
        return run({QStringLiteral("get"), QStringLiteral("-r"), QStringLiteral("--json"),
                    m_server->url(QStringLiteral("srv/up/src")), m_directory.path(QStringLiteral("back"))});
    }

    QStringList entriesBelow(const QString &name) const
    {
        const QString prefix = name + QLatin1Char('/');
        QStringList found;
        const QStringList all = m_directory.entries();
        for (const QString &entry : all) {
            if (entry.startsWith(prefix) && entry != prefix)
                found.append(entry.mid(prefix.size()));
        }
        return found;
    }

    void link(const QString &target, const QString &name) const
    {
        ASSERT_TRUE(QFile::link(target, m_directory.path(name)));
    }

    // Names, contents and the files' times to the second.
    void expectEqualTrees(const QString &a, const QString &b) const
    {
        const QStringList names = entriesBelow(a);
        ASSERT_EQ(names, entriesBelow(b));
        for (const QString &name : names) {
            const QString one = a + QLatin1Char('/') + name;
            const QString other = b + QLatin1Char('/') + name;
            if (name.endsWith(QLatin1Char('/')))
                continue;
            EXPECT_EQ(m_directory.read(one), m_directory.read(other)) << qPrintable(name);
            EXPECT_EQ(QFileInfo(m_directory.path(one)).lastModified().toSecsSinceEpoch(),
                      QFileInfo(m_directory.path(other)).lastModified().toSecsSinceEpoch())
                << qPrintable(name);
        }
    }

    std::unique_ptr<ServerProgram> m_server;
};

TEST_F(TreeTest, GoesUpAndComesBackEqual)
{
    constexpr int files = 600;
    for (int i = 0; i < files; ++i) {
        const QString name = QStringLiteral("src/d%1/e%2/f%3")
                                 .arg(QString::number(i % 7), QString::number(i % 31), QString::number(i));
        ASSERT_TRUE(m_directory.write(name, pattern(i % 5 == 0 ? 0 : i)));
        if (i % 100 != 0)
            continue;
        QFile handle(m_directory.path(name));
        ASSERT_TRUE(handle.open(QIODevice::ReadWrite));
        ASSERT_TRUE(handle.setFileTime(QDateTime::fromSecsSinceEpoch(981173106 + i),
                                       QFileDevice::FileModificationTime));
    }
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("src/empty/below")));
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("src/d0/e0/empty")));
    ASSERT_TRUE(m_directory.write(QString::fromUtf8("src/\u00fc \u6587 \U0001d11e/%1\n\"quoted\" "), "odd"));

    ASSERT_EQ(put(), ExitStatus::success) << m_err;
    EXPECT_EQ(counted("sent"), files + 1);
    EXPECT_EQ(counted("directories"), 2);
    ASSERT_EQ(get(), ExitStatus::success) << m_err;
    EXPECT_EQ(counted("received"), files + 1);
    expectEqualTrees(QStringLiteral("src"), QStringLiteral("back/src"));

    ASSERT_EQ(put(), ExitStatus::success) << m_err;
    EXPECT_EQ(counted("alreadyThere"), files + 1);
    EXPECT_EQ(counted("movedBytes"), 0);
    ASSERT_EQ(get(), ExitStatus::success) << m_err;
    EXPECT_EQ(counted("alreadyThere"), files + 1);
    EXPECT_EQ(counted("movedBytes"), 0);
}

TEST_F(TreeTest, MayBeDeep)
{
    QString path = QStringLiteral("src");
    for (int level = 0; level < 200; ++level)
        path += QStringLiteral("/l%1").arg(level);
    ASSERT_TRUE(m_directory.write(path + QStringLiteral("/bottom"), "b"));
    ASSERT_EQ(put(), ExitStatus::success) << m_err;
    ASSERT_EQ(get(), ExitStatus::success) << m_err;
    expectEqualTrees(QStringLiteral("src"), QStringLiteral("back/src"));
}

TEST_F(TreeTest, MayBeAnEmptyDirectory)
{
    ASSERT_EQ(put(), ExitStatus::success) << m_err;
    EXPECT_TRUE(QFileInfo(m_directory.path(QStringLiteral("srv/up/src"))).isDir());
    ASSERT_EQ(get(), ExitStatus::success) << m_err;
    EXPECT_TRUE(QFileInfo(m_directory.path(QStringLiteral("back/src"))).isDir());
    EXPECT_EQ(entriesBelow(QStringLiteral("back/src")), QStringList());
}

TEST_F(TreeTest, MayBeAWholeShare)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/a/f"), "f"));
    ASSERT_EQ(run({QStringLiteral("get"), QStringLiteral("-r"), m_server->url(QStringLiteral("srv")),
                   m_directory.path(QStringLiteral("back"))}),
              ExitStatus::success)
        << m_err;
    EXPECT_EQ(m_directory.read(QStringLiteral("back/srv/a/f")), QByteArray("f"));
}

TEST_F(TreeTest, CountsAndReportsWhatCannotBeSent)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("src/good"), "g"));
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("src/d")));
    ASSERT_EQ(::mkfifo(QFile::encodeName(m_directory.path(QStringLiteral("src/pipe"))).constData(), 0600), 0);
    link(QStringLiteral("nowhere"), QStringLiteral("src/d/broken"));
    const QByteArray undecodable = QFile::encodeName(m_directory.path(QStringLiteral("src"))) + "/bad\xff";
    std::FILE *file = std::fopen(undecodable.constData(), "w");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(std::fclose(file), 0);
    const QString partialName = QFileInfo(VESK::temporaryPath(QStringLiteral("/x"))).fileName();
    ASSERT_TRUE(m_directory.write(QStringLiteral("src/") + partialName, "p"));

    EXPECT_EQ(put(), ExitStatus::someFailed);
    EXPECT_EQ(::unlink(undecodable.constData()), 0) << "Qt cannot";
    EXPECT_EQ(counted("skipped"), 4);
    EXPECT_EQ(counted("sent"), 1);
    EXPECT_THAT(m_err, HasSubstr("skipped src/d/broken: the link leads nowhere"));
    EXPECT_THAT(m_err, HasSubstr("skipped src/pipe: it is a pipe"));
    EXPECT_THAT(m_err, HasSubstr("skipped src/bad\\xff: its name is not valid UTF-8"));
    EXPECT_THAT(m_err, HasSubstr("partial copy"));
    EXPECT_EQ(entriesBelow(QStringLiteral("srv/up/src")),
              (QStringList{QStringLiteral("d/"), QStringLiteral("good")}));
}

TEST_F(TreeTest, FollowsLinksToDirectoriesButNotInCircles)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("elsewhere/f"), "f"));
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("src/a/b")));
    link(m_directory.path(QStringLiteral("elsewhere")), QStringLiteral("src/linked"));
    link(m_directory.path(QStringLiteral("src/a")), QStringLiteral("src/a/b/up"));
    link(QStringLiteral("."), QStringLiteral("src/self"));
    EXPECT_EQ(put(), ExitStatus::someFailed);
    EXPECT_EQ(m_directory.read(QStringLiteral("srv/up/src/linked/f")), QByteArray("f"));
    EXPECT_EQ(counted("skipped"), 2);
    EXPECT_THAT(m_err, HasSubstr("skipped src/a/b/up: the link leads back"));
    EXPECT_THAT(m_err, HasSubstr("skipped src/self: the link leads back"));
}

TEST_F(TreeTest, SaysWhichFilesNoListingShows)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("src/.hidden"), "h"));
    ASSERT_TRUE(m_directory.write(QStringLiteral("src/.d/f"), "f"));
    ASSERT_TRUE(m_directory.write(QStringLiteral("src/f"), "f"));
    ASSERT_EQ(put(), ExitStatus::success) << m_err;
    EXPECT_EQ(counted("sent"), 3);
    EXPECT_EQ(counted("hidden"), 2);
    EXPECT_THAT(m_err, HasSubstr("2 hidden files there now that no listing shows"));
    EXPECT_EQ(m_directory.read(QStringLiteral("srv/up/src/.d/f")), QByteArray("f"));
    ASSERT_EQ(get(), ExitStatus::success) << m_err;
    EXPECT_EQ(entriesBelow(QStringLiteral("back/src")), QStringList(QStringLiteral("f")));
}

TEST_F(TreeTest, NeedsTheSwitch)
{
    EXPECT_EQ(run({QStringLiteral("put"), m_directory.path(QStringLiteral("src")),
                   m_server->url(QStringLiteral("srv"))}),
              ExitStatus::localFile);
    EXPECT_THAT(m_err, HasSubstr("-r sends directories"));
}

TEST_F(TreeTest, GoesOnWhenOneFileCannotBePlaced)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("src/a/f"), "f"));
    ASSERT_TRUE(m_directory.write(QStringLiteral("src/b/f"), "f"));
    ASSERT_EQ(put(), ExitStatus::success) << m_err;
    ASSERT_TRUE(m_directory.write(QStringLiteral("back/src/a"), "a file where a directory must be"));
    EXPECT_EQ(get(), ExitStatus::someFailed);
    EXPECT_EQ(m_directory.read(QStringLiteral("back/src/b/f")), QByteArray("f"));
    EXPECT_EQ(m_directory.read(QStringLiteral("back/src/a")), QByteArray("a file where a directory must be"));

    ASSERT_TRUE(QDir(m_directory.path(QStringLiteral("srv/up/src/b"))).removeRecursively());
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/up/src/b"), "likewise"));
    ASSERT_TRUE(m_directory.write(QStringLiteral("src/c"), "c"));
    EXPECT_EQ(put(), ExitStatus::someFailed);
    EXPECT_EQ(m_directory.read(QStringLiteral("srv/up/src/c")), QByteArray("c"));
    EXPECT_THAT(m_err, Not(HasSubstr("Trying again"))) << "a refusal does not cost the connection";
}

TEST_F(TreeTest, EndsSoonWhenTheServerStaysAway)
{
    constexpr int files = 500;
    for (int i = 0; i < files; ++i)
        ASSERT_TRUE(m_directory.write(QStringLiteral("src/f%1").arg(i), pattern(1000 + i)));
    Program client({QStringLiteral("put"), QStringLiteral("-r"), QStringLiteral("--json"),
                    QStringLiteral("--retries"), QStringLiteral("1"), m_directory.path(QStringLiteral("src")),
                    m_server->url(QStringLiteral("srv/up"))});
    ASSERT_TRUE(waitUntil([&] { return entriesBelow(QStringLiteral("srv/up/src")).size() > 20; }));
    m_server->program().kill();
    EXPECT_EQ(client.waitForEnd(30000), ExitStatus::someFailed);
    const QJsonObject summary = client.event(QStringLiteral("summary"));
    EXPECT_GT(summary.value(QStringLiteral("sent")).toInt(), 0);
    EXPECT_EQ(summary.value(QStringLiteral("sent")).toInt() + summary.value(QStringLiteral("failed")).toInt(),
              files);
    EXPECT_EQ(client.err().count(QStringLiteral("error:")), 1) << "not one for each of the rest";
}

TEST_F(TreeTest, GoesOnWithTheRestWhenRunAgainAfterAnInterruption)
{
    constexpr int files = 500;
    for (int i = 0; i < files; ++i)
        ASSERT_TRUE(m_directory.write(QStringLiteral("src/f%1").arg(i), pattern(1000 + i)));
    Program first({QStringLiteral("put"), QStringLiteral("-r"), m_directory.path(QStringLiteral("src")),
                   m_server->url(QStringLiteral("srv/up"))});
    // Without partial files, whose names begin with a dot.
    const auto kept = [&] {
        return entriesBelow(QStringLiteral("srv/up/src"))
            .filter(QRegularExpression(QStringLiteral("^f")))
            .size();
    };
    ASSERT_TRUE(waitUntil([&] { return kept() > 20; }));
    first.kill();
    ASSERT_LT(kept(), files);
    ASSERT_EQ(put(), ExitStatus::success) << m_err;
    EXPECT_GE(counted("alreadyThere"), 20);
    EXPECT_EQ(counted("alreadyThere") + counted("sent"), files);
    ASSERT_EQ(get(), ExitStatus::success) << m_err;
    expectEqualTrees(QStringLiteral("src"), QStringLiteral("back/src"));
}

} // namespace
