#include "tests/host/client_test.h"

#include "host/client/name_list.h"

#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class SelectionTest : public ClientTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv")));
        for (const char *name :
             {"src/a.txt", "src/b.tmp", "src/d/c.txt", "src/d/deep/e.txt", "src/tmp/f.txt"})
            ASSERT_TRUE(m_directory.write(QString::fromUtf8(name), name));
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("srv")));
        ASSERT_NE(m_server->port(), 0);
    }

    int put(const QStringList &more, const QString &path = QStringLiteral("srv"))
    {
        return run(QStringList{QStringLiteral("put"), QStringLiteral("-r"), QStringLiteral("--json"),
                               m_directory.path(QStringLiteral("src")), m_server->url(path)}
                   + more);
    }

    int get(const QStringList &more, const QString &path = QStringLiteral("srv/src"))
    {
        return run(QStringList{QStringLiteral("get"), QStringLiteral("-r"), QStringLiteral("--json"),
                               m_server->url(path), m_directory.path(QStringLiteral("down"))}
                   + more);
    }

    QStringList files(const QString &below) const
    {
        QStringList found;
        for (const QString &entry : m_directory.entries()) {
            if (entry.startsWith(below) && !entry.endsWith(QLatin1Char('/')))
                found << entry.mid(below.size());
        }
        return found;
    }

    std::unique_ptr<ServerProgram> m_server;
};

TEST_F(SelectionTest, LeavesOutWhatTheRulesSayInBothDirections)
{
    const QStringList rules = {QStringLiteral("--include"), QStringLiteral("/d/deep/"),
                               QStringLiteral("--exclude"), QStringLiteral("*.tmp"),
                               QStringLiteral("--exclude"), QStringLiteral("/tmp/")};
    ASSERT_EQ(put(rules), 0) << m_err;
    EXPECT_EQ(
        files(QStringLiteral("srv/src/")),
        (QStringList{QStringLiteral("a.txt"), QStringLiteral("d/c.txt"), QStringLiteral("d/deep/e.txt")}));
    ASSERT_EQ(put({}), 0) << m_err;
    ASSERT_EQ(get(rules), 0) << m_err;
    EXPECT_EQ(
        files(QStringLiteral("down/src/")),
        (QStringList{QStringLiteral("a.txt"), QStringLiteral("d/c.txt"), QStringLiteral("d/deep/e.txt")}));
}

TEST_F(SelectionTest, KeepsTheOrderOfRulesOfBothKinds)
{
    ASSERT_EQ(put({QStringLiteral("--include"), QStringLiteral("*/"), QStringLiteral("--exclude"),
                   QStringLiteral("c.txt"), QStringLiteral("--include"), QStringLiteral("*.txt"),
                   QStringLiteral("--exclude"), QStringLiteral("*")}),
              0)
        << m_err;
    EXPECT_EQ(
        files(QStringLiteral("srv/src/")),
        (QStringList{QStringLiteral("a.txt"), QStringLiteral("d/deep/e.txt"), QStringLiteral("tmp/f.txt")}));
}

TEST_F(SelectionTest, ExplainsEachNameAndMovesNothing)
{
    ASSERT_EQ(run({QStringLiteral("put"), QStringLiteral("-r"), m_directory.path(QStringLiteral("src")),
                   m_server->url(QStringLiteral("srv")), QStringLiteral("--explain-filter"),
                   QStringLiteral("--exclude"), QStringLiteral("*.tmp")}),
              0)
        << m_err;
    EXPECT_THAT(m_out, HasSubstr("left out  b.tmp  (--exclude '*.tmp')\n"));
    EXPECT_THAT(m_out, HasSubstr("taken     a.txt  (no rule matches)\n"));
    EXPECT_EQ(files(QStringLiteral("srv/")), QStringList());
}

TEST_F(SelectionTest, RefusesAPatternThatIsNone)
{
    EXPECT_EQ(put({QStringLiteral("--exclude"), QStringLiteral("[a")}), 2);
    EXPECT_THAT(m_err, HasSubstr("\"[a\""));
}

TEST_F(SelectionTest, CountsInADryRunAndMovesNothing)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/src/a.txt"), "other"));
    ASSERT_EQ(put({QStringLiteral("-n")}), 0) << m_err;
    EXPECT_EQ(counted("planned"), 5);
    EXPECT_EQ(counted("plannedBytes"), 9 + 9 + 11 + 16 + 13);
    EXPECT_EQ(counted("there"), 1);
    EXPECT_THAT(m_err, HasSubstr("would send 5 files (58 B)"));
    EXPECT_EQ(files(QStringLiteral("srv/")), QStringList{QStringLiteral("src/a.txt")});

    ASSERT_EQ(get({QStringLiteral("-n")}), 0) << m_err;
    EXPECT_EQ(counted("planned"), 1);
    EXPECT_EQ(counted("plannedBytes"), -1) << "a listing tells no sizes";
    EXPECT_FALSE(m_directory.exists(QStringLiteral("down")));
}

TEST_F(SelectionTest, LeavesAloneWhatIsThereWhenToldTo)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/src/a.txt"), "other"));
    ASSERT_EQ(put({QStringLiteral("--existing"), QStringLiteral("skip")}), 0) << m_err;
    EXPECT_EQ(counted("kept"), 1);
    EXPECT_EQ(counted("sent"), 4);
    EXPECT_EQ(m_directory.read(QStringLiteral("srv/src/a.txt")), QByteArray("other"));

    ASSERT_TRUE(m_directory.write(QStringLiteral("down/src/b.tmp"), "other"));
    ASSERT_EQ(get({QStringLiteral("--existing"), QStringLiteral("skip")}), 0) << m_err;
    EXPECT_EQ(counted("kept"), 1);
    EXPECT_EQ(counted("received"), 4);
    EXPECT_EQ(m_directory.read(QStringLiteral("down/src/b.tmp")), QByteArray("other"));
}

TEST_F(SelectionTest, FailsForWhatIsThereWhenToldTo)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/src/a.txt"), "other"));
    EXPECT_EQ(put({QStringLiteral("--existing"), QStringLiteral("fail")}), 1) << m_err;
    EXPECT_THAT(m_err, HasSubstr("src/a.txt: a file of that name is there already, on the server"));
    EXPECT_EQ(counted("sent"), 4);
    EXPECT_EQ(get({QStringLiteral("--existing"), QStringLiteral("fail")}), 0) << m_err;
    EXPECT_EQ(get({QStringLiteral("--existing"), QStringLiteral("fail")}), 8) << m_err;
    EXPECT_EQ(counted("failed"), 5);
}

TEST_F(SelectionTest, TakesTheNamesOfAList)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("list"), "a.txt\n\n./d//deep/e.txt\n../escape\nabsent\n"));
    EXPECT_EQ(run({QStringLiteral("put"), QStringLiteral("--json"), QStringLiteral("--files-from"),
                   m_directory.path(QStringLiteral("list")), m_directory.path(QStringLiteral("src")),
                   m_server->url(QStringLiteral("srv/up"))}),
              1)
        << m_err;
    EXPECT_EQ(files(QStringLiteral("srv/up/")),
              (QStringList{QStringLiteral("a.txt"), QStringLiteral("d/deep/e.txt")}));
    EXPECT_THAT(m_err, HasSubstr("skipped ../escape: it holds"));
    EXPECT_THAT(m_err, HasSubstr("absent: no such file"));

    ASSERT_TRUE(m_directory.write(QStringLiteral("list"), QByteArray("d/deep/e.txt\0", 13)));
    EXPECT_EQ(run({QStringLiteral("get"), QStringLiteral("--json"), QStringLiteral("-0"),
                   QStringLiteral("--files-from"), m_directory.path(QStringLiteral("list")),
                   m_server->url(QStringLiteral("srv/up")), m_directory.path(QStringLiteral("down"))}),
              0)
        << m_err;
    EXPECT_EQ(files(QStringLiteral("down/")), QStringList{QStringLiteral("d/deep/e.txt")});
}

TEST_F(SelectionTest, TellsAListThatCannotBeRead)
{
    EXPECT_EQ(run({QStringLiteral("put"), QStringLiteral("--files-from"),
                   m_directory.path(QStringLiteral("none")), m_server->url(QStringLiteral("srv"))}),
              2);
    EXPECT_THAT(m_err, HasSubstr("cannot open"));
}

TEST(NameListTest, TakesNamesThatStayBelow)
{
    using VESK::Host::readName;
    EXPECT_EQ(readName("a/b").path, QStringLiteral("a/b"));
    EXPECT_EQ(readName("./a//b/.").path, QStringLiteral("a/b"));
    EXPECT_EQ(readName("/a").path, QStringLiteral("a"));
    EXPECT_EQ(readName("..a").path, QStringLiteral("..a"));
    for (const QByteArray &bad : {QByteArray(".."), QByteArray("a/../b"), QByteArray("."), QByteArray("/"),
                                  QByteArray("a\xff"), QByteArray("a\0b", 3)}) {
        EXPECT_NE(readName(bad).flaw, QString()) << bad.constData();
        EXPECT_EQ(readName(bad).path, QString()) << bad.constData();
    }
}

} // namespace
