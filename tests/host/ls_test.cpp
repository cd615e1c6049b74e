#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>

#include <gmock/gmock.h>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class LsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv")));
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("srv")));
        ASSERT_NE(m_server->port(), 0);
    }

    int run(const QString &verb, const QString &path, const QStringList &more = {})
    {
        Program client(QStringList{verb, m_server->url(path)} + more);
        const int code = client.waitForEnd();
        m_out = client.out();
        m_err = client.err().toStdString();
        return code;
    }

    QStringList sortedLines() const
    {
        QStringList lines = m_out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        lines.sort();
        return lines;
    }

    TempDir m_directory;
    std::unique_ptr<ServerProgram> m_server;
    QString m_out;
    std::string m_err;
};

TEST_F(LsTest, NamesTheWholeTreeButWhatIsHidden)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/a/b/f"), "f"));
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/.hidden"), "h"));
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("srv/empty")));
    ASSERT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv")), 0) << m_err;
    EXPECT_EQ(sortedLines(),
              (QStringList{QStringLiteral("a/"), QStringLiteral("a/b/"), QStringLiteral("a/b/f"),
                           QStringLiteral("empty/")}));
    ASSERT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv/a/")), 0) << m_err;
    EXPECT_EQ(sortedLines(), (QStringList{QStringLiteral("b/"), QStringLiteral("b/f")}));
    ASSERT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv/empty")), 0) << m_err;
    EXPECT_EQ(m_out, QString());
    EXPECT_EQ(m_err, "") << "a listing says nothing else";
}

TEST_F(LsTest, WritesNamesAsTheyAreWhereThereIsNoTerminal)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/a\n\033[2Jb"), "f"));
    ASSERT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv")), 0) << m_err;
    EXPECT_EQ(m_out, QStringLiteral("a\n\033[2Jb\n"));
}

TEST_F(LsTest, WritesAnObjectALine)
{
    const QString odd = QString::fromUtf8("line\nbreak \" \\ \u00fc \U0001d11e");
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/d/") + odd, "f"));
    ASSERT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv"), {QStringLiteral("--json")}), 0) << m_err;
    QStringList found;
    const QStringList lines = m_out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        const QJsonObject object = QJsonDocument::fromJson(line.toUtf8()).object();
        EXPECT_EQ(object.value(QStringLiteral("v")).toInt(), 1);
        if (object.value(QStringLiteral("event")).toString() != QLatin1String("entry"))
            continue;
        found.append(object.value(QStringLiteral("kind")).toString() + QLatin1Char(':')
                     + object.value(QStringLiteral("path")).toString());
    }
    EXPECT_EQ(found, (QStringList{QStringLiteral("dir:d"), QStringLiteral("file:d/") + odd}));
}

TEST_F(LsTest, NamesEveryEntryOfALargeDirectory)
{
    constexpr int files = 1234; // several batches
    QStringList names;
    for (int i = 0; i < files; ++i) {
        names.append(QStringLiteral("f%1").arg(i));
        ASSERT_TRUE(m_directory.write(QStringLiteral("srv/") + names.last(), QByteArray()));
    }
    names.sort();
    ASSERT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv")), 0) << m_err;
    EXPECT_EQ(sortedLines(), names);
}

TEST_F(LsTest, TellsWhatIsNoDirectory)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), "f"));
    EXPECT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv/absent")), 5);
    EXPECT_THAT(m_err, HasSubstr("srv/absent: no such directory on the server"));
    EXPECT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv/f")), 8);
    EXPECT_THAT(m_err, HasSubstr("it is a file, not a directory"));
    EXPECT_EQ(run(QStringLiteral("ls"), QStringLiteral("nope")), 8);
    EXPECT_THAT(m_err, HasSubstr("no share \"nope\""));
    EXPECT_EQ(run(QStringLiteral("ls"), QStringLiteral("srv/absent"), {QStringLiteral("--json")}), 5);
    EXPECT_THAT(m_out.toStdString(), HasSubstr("\"class\":5"));
}

TEST_F(LsTest, TellsAStdoutThatIsFull)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), "f"));
    const QString command = QStringLiteral("\"%1\" ls %2 > /dev/full")
                                .arg(QStringLiteral(VESK_PROGRAM), m_server->url(QStringLiteral("srv")));
    QProcess shell;
    shell.start(QStringLiteral("sh"), {QStringLiteral("-c"), command});
    ASSERT_TRUE(shell.waitForFinished());
    EXPECT_EQ(shell.exitCode(), 7);
    EXPECT_THAT(shell.readAllStandardError().toStdString(), HasSubstr("cannot write to stdout"));
}

TEST_F(LsTest, MkdirMakesADirectoryAndThoseAboveItAndDoesNotMindIfTheyAreThere)
{
    const QString path = QString::fromUtf8("srv/a/b \u00fc/c");
    ASSERT_EQ(run(QStringLiteral("mkdir"), path), 0) << m_err;
    EXPECT_TRUE(QFileInfo(m_directory.path(path)).isDir());
    EXPECT_EQ(run(QStringLiteral("mkdir"), path), 0) << m_err;
}

TEST_F(LsTest, MkdirTellsWhyNot)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("srv/f"), "f"));
    EXPECT_EQ(run(QStringLiteral("mkdir"), QStringLiteral("srv/f/below")), 8);
    EXPECT_THAT(m_err, HasSubstr("is a file, not a directory"));
    EXPECT_EQ(run(QStringLiteral("mkdir"), QStringLiteral("srv/") + QString(256, QLatin1Char('n'))), 8);
    EXPECT_THAT(m_err, HasSubstr("too long"));
    EXPECT_EQ(run(QStringLiteral("mkdir"), QStringLiteral("srv")), 2);
    Program both({QStringLiteral("mkdir"), m_server->url(QStringLiteral("srv/f/x")),
                  m_server->url(QStringLiteral("srv/y"))});
    EXPECT_EQ(both.waitForEnd(), 1) << "one of two";
    EXPECT_TRUE(QFileInfo(m_directory.path(QStringLiteral("srv/y"))).isDir());
}

} // namespace
