#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <csignal>

using namespace VESK::Test;

namespace
{

class PutTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("src")));
    }

    QString source(const QString &name, const QByteArray &content) const
    {
        EXPECT_TRUE(m_directory.write(QStringLiteral("src/") + name, content));
        return m_directory.path(QStringLiteral("src/") + name);
    }

    // The exit code of `vesk put --json <sources> <share path>`.
    int put(ServerProgram &server, const QStringList &sources, const QString &path,
            const QStringList &more = {})
    {
        Program client(QStringList{QStringLiteral("put"), QStringLiteral("--json")} + more + sources
                       + QStringList{server.url(path)});
        const int code = client.waitForEnd();
        m_err = client.err();
        m_summary = client.event(QStringLiteral("summary"));
        return code;
    }

    int counted(const char *field) const { return m_summary.value(QLatin1String(field)).toInt(-1); }

    static int modeOf(const QString &path)
    {
        struct stat status {
        };
        return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : -1;
    }

    TempDir m_directory;
    QString m_err;
    QJsonObject m_summary;
};

TEST_F(PutTest, BringsBytesTimeAndModeOver)
{
    const QByteArray content = pattern(1000000);
    const QString file = source(QStringLiteral("f"), content);
    QFile handle(file);
    ASSERT_TRUE(handle.open(QIODevice::ReadWrite));
    const QDateTime time = QDateTime::fromSecsSinceEpoch(981173106);
    ASSERT_TRUE(handle.setFileTime(time, QFileDevice::FileModificationTime));
    handle.close();

    ServerProgram server(m_directory.path(QStringLiteral("in")));
    ASSERT_EQ(put(server, {file}, QStringLiteral("in/a/b")), 0) << qPrintable(m_err);
    EXPECT_EQ(m_directory.read(QStringLiteral("in/a/b/f")), content);
    const QString target = m_directory.path(QStringLiteral("in/a/b/f"));
    EXPECT_EQ(QFileInfo(target).lastModified(), time);
    EXPECT_EQ(modeOf(target), 0640);
    EXPECT_EQ(modeOf(m_directory.path(QStringLiteral("in/a/b"))), 0750);
    EXPECT_EQ(m_directory.entries().filter(QStringLiteral("vsktmp")), QStringList());
}

TEST_F(PutTest, TakesTheModesOfTheCommandLine)
{
    const QString file = source(QStringLiteral("f"), "x");
    ServerProgram server(m_directory.path(QStringLiteral("in")), 0,
                         {QStringLiteral("--file-mode"), QStringLiteral("0604"), QStringLiteral("--dir-mode"),
                          QStringLiteral("0705")});
    ASSERT_EQ(put(server, {file}, QStringLiteral("in/d")), 0) << qPrintable(m_err);
    EXPECT_EQ(modeOf(m_directory.path(QStringLiteral("in/d/f"))), 0604);
    EXPECT_EQ(modeOf(m_directory.path(QStringLiteral("in/d"))), 0705);
}

TEST_F(PutTest, BringsOddNamesAndSizesOverOneConnection)
{
    const QStringList names = {
        QStringLiteral("empty"),
        QString::fromUtf8("\u00fcn\u00efc\u00f6de \u6587\u4ef6 \U0001d11e"),
        QStringLiteral(" blanks  inside and around "),
        QStringLiteral("%1 %2 %%"),
        QStringLiteral("line\nbreak"),
        QString(255, QLatin1Char('n')),
        QStringLiteral("quote\"back\\slash:colon"),
        QStringLiteral("-dash"),
    };
    QStringList files;
    for (int i = 0; i < names.size(); ++i)
        files.append(source(names.at(i), pattern(i * 1456)));
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    ASSERT_EQ(put(server, files, QStringLiteral("in")), 0) << qPrintable(m_err);
    EXPECT_EQ(counted("sent"), names.size());
    for (int i = 0; i < names.size(); ++i) {
        const QString target = QStringLiteral("in/") + names.at(i);
        EXPECT_TRUE(m_directory.exists(target)) << qPrintable(target);
        EXPECT_EQ(m_directory.read(target), pattern(i * 1456)) << qPrintable(target);
    }
    ASSERT_EQ(put(server, files, QStringLiteral("in")), 0) << qPrintable(m_err);
    EXPECT_EQ(counted("alreadyThere"), names.size());
    EXPECT_EQ(counted("movedBytes"), 0);
}

TEST_F(PutTest, SendsNothingTheSecondTimeInEveryMode)
{
    const QString file = source(QStringLiteral("f"), pattern(3000000));
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    for (const QString &mode : {QStringLiteral("xxh128"), QStringLiteral("sha256"), QStringLiteral("quick"),
                                QStringLiteral("none")}) {
        const QString path = QStringLiteral("in/") + mode;
        ASSERT_EQ(put(server, {file}, path, {QStringLiteral("--verify"), mode}), 0) << qPrintable(m_err);
        EXPECT_EQ(counted("sent"), 1);
        EXPECT_EQ(counted("movedBytes"), 3000000);
        ASSERT_EQ(put(server, {file}, path, {QStringLiteral("--verify"), mode}), 0) << qPrintable(m_err);
        EXPECT_EQ(counted("alreadyThere"), 1) << qPrintable(mode);
        EXPECT_EQ(counted("movedBytes"), 0);
        EXPECT_EQ(m_directory.read(path + QStringLiteral("/f")), pattern(3000000));
    }
}

TEST_F(PutTest, ReplacesAFileThatDiffers)
{
    const QString file = source(QStringLiteral("f"), pattern(100000, 1));
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    ASSERT_TRUE(m_directory.write(QStringLiteral("in/f"), pattern(100000, 2)));
    ASSERT_EQ(put(server, {file}, QStringLiteral("in")), 0) << qPrintable(m_err);
    EXPECT_EQ(counted("sent"), 1);
    EXPECT_EQ(m_directory.read(QStringLiteral("in/f")), pattern(100000, 1));
}

TEST_F(PutTest, StartsAgainWhenAnOldPartialFileSpoilsTheResult)
{
    const QByteArray content = pattern(200000, 1);
    const QString file = source(QStringLiteral("f"), content);
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    const QString partial = VESK::temporaryPath(m_directory.path(QStringLiteral("in/f")));
    ASSERT_TRUE(m_directory.write(QStringLiteral("in/") + QFileInfo(partial).fileName(), pattern(50000, 2)));
    ASSERT_EQ(put(server, {file}, QStringLiteral("in")), 0) << qPrintable(m_err);
    EXPECT_THAT(m_err.toStdString(), testing::HasSubstr("again from the start"));
    EXPECT_EQ(counted("resumedBytes"), 0);
    EXPECT_EQ(m_directory.read(QStringLiteral("in/f")), content);
}

TEST_F(PutTest, ServesADirectoryWhoseNameHoldsTheTablesSeparators)
{
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("a:b%1")));
    const QString file = source(QStringLiteral("f"), "x");
    ServerProgram server(m_directory.path(QStringLiteral("a:b%1")));
    ASSERT_EQ(put(server, {file}, QStringLiteral("a_b_1")), 0) << qPrintable(m_err);
    EXPECT_EQ(m_directory.read(QStringLiteral("a:b%1/f")), QByteArray("x"));
}

TEST_F(PutTest, TakesThePlainFormOfTheAddressWithAPort)
{
    const QString file = source(QStringLiteral("f"), "x");
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    Program client({QStringLiteral("put"), file, QStringLiteral("127.0.0.1:in/d"), QStringLiteral("--port"),
                    QString::number(server.port())});
    EXPECT_EQ(client.waitForEnd(), 0);
    EXPECT_EQ(client.out(), QString()) << "stdout is for what was asked for";
    EXPECT_THAT(client.err().toStdString(), testing::HasSubstr("1 file sent"));
    EXPECT_TRUE(m_directory.exists(QStringLiteral("in/d/f")));
}

TEST_F(PutTest, LetsTheServerEndCleanlyOnSignals)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        ServerProgram server(m_directory.path(QStringLiteral("in")));
        ASSERT_NE(server.port(), 0);
        server.program().signal(signal);
        EXPECT_EQ(server.program().waitForEnd(10000), 0) << qPrintable(server.program().err());
    }
}

} // namespace
