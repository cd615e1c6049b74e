#include "tests/host/terminal.h"

#include "tests/host/program.h"

#include "vesk_base/paths.h"

#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

#include <csignal>

using namespace VESK::Test;

namespace
{

constexpr int height = 24;
constexpr qint64 size = 120000000; // enough to be looked at on its way

class TerminalTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!Terminal::isAvailable())
            GTEST_SKIP() << "tmux is not installed";
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
        ASSERT_TRUE(m_directory.write(QStringLiteral("big.raw"), pattern(size)));
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("in")));
        ASSERT_NE(m_server->port(), 0);
    }

    void TearDown() override
    {
        if (m_server)
            m_server->program().signal(SIGCONT);
    }

    // Types an upload, and stops the server as soon as bytes are on their way: what is on the screen then
    // stays there.
    void startAndFreeze(Terminal &terminal)
    {
        terminal.type(
            QStringLiteral("cd %1; clear; %2 put big.raw %3; echo status=$?")
                .arg(m_directory.path(), QStringLiteral(VESK_PROGRAM), m_server->url(QStringLiteral("in"))));
        ASSERT_TRUE(terminal.waitFor(QStringLiteral("[1-9][0-9]*%")))
            << qPrintable(terminal.screen().join(QLatin1Char('\n')));
        m_server->program().signal(SIGSTOP);
    }

    QString partialPath() const
    {
        return VESK::temporaryPath(m_directory.path(QStringLiteral("in/big.raw")));
    }

    TempDir m_directory;
    std::unique_ptr<ServerProgram> m_server;
};

const QString narrowLine = QStringLiteral("^big\\.raw +[0-9]+% +[0-9.]+ [KMG]?i?B/s$");
const QString usualLine = QStringLiteral("^big\\.raw +[0-9]+% +[0-9.]+ / 114\\.4 MiB  ");
const QString wideLine = QStringLiteral("^big\\.raw +[0-9]+% +[0-9.]+ [KM]?i?B of 114\\.4 MiB  ");

TEST_F(TerminalTest, DrawsWhatFitsAtEachWidth)
{
    const std::pair<int, QString> layouts[] = {{40, narrowLine}, {80, usualLine}, {200, wideLine}};
    for (const auto &[width, line] : layouts) {
        Terminal terminal(width, height);
        startAndFreeze(terminal);
        EXPECT_TRUE(terminal.waitFor(line)) << width;
        EXPECT_EQ(terminal.screen().size(), 1) << qPrintable(terminal.screen().join(QLatin1Char('\n')));
        m_server->program().signal(SIGCONT);
        EXPECT_TRUE(terminal.waitFor(QStringLiteral("^status=0$")));
        EXPECT_EQ(terminal.count(QStringLiteral("%")), 0) << "progress is wiped at the end";
        EXPECT_EQ(terminal.count(QStringLiteral("^1 file sent")), 1);
        ASSERT_TRUE(QFile::remove(m_directory.path(QStringLiteral("in/big.raw"))));
    }
}

TEST_F(TerminalTest, FollowsTheWidthInTheMiddleOfATransfer)
{
    Terminal terminal(80, height);
    startAndFreeze(terminal);
    EXPECT_TRUE(terminal.waitFor(usualLine));
    for (const auto &[width, line] :
         {std::make_pair(40, narrowLine), std::make_pair(200, wideLine), std::make_pair(80, usualLine)}) {
        terminal.resize(width, height);
        const auto isDrawn = [&terminal, &expected = line] {
            return terminal.count(expected) == 1 && terminal.screen().size() == 1;
        };
        EXPECT_TRUE(waitUntil(isDrawn)) << width << ":\n"
                                        << qPrintable(terminal.screen().join(QLatin1Char('\n')));
    }
}

TEST_F(TerminalTest, DrawsALineForEachRunningFileAndOneForTheRun)
{
    for (const char *name : {"second.raw", "third.raw"})
        ASSERT_TRUE(m_directory.write(QString::fromLatin1(name), pattern(size)));
    Terminal terminal(80, height);
    terminal.type(
        QStringLiteral("cd %1; clear; %2 put big.raw second.raw third.raw %3; echo status=$?")
            .arg(m_directory.path(), QStringLiteral(VESK_PROGRAM), m_server->url(QStringLiteral("in"))));
    ASSERT_TRUE(terminal.waitFor(QStringLiteral("\\.raw .*[1-9][0-9]*%")));
    m_server->program().signal(SIGSTOP);
    const QString total = QStringLiteral("^[0-2] of 3 files +[0-9]+% +[0-9.]+ / 343\\.3 MiB  ");
    EXPECT_TRUE(waitUntil([&] {
        const int tasks = terminal.count(QStringLiteral("^(big|second|third)\\.raw "));
        return tasks >= 1 && tasks <= 3 && terminal.count(total) == 1
            && terminal.screen().size() == tasks + 1;
    })) << qPrintable(terminal.screen().join(QLatin1Char('\n')));
    m_server->program().signal(SIGCONT);
    EXPECT_TRUE(terminal.waitFor(QStringLiteral("^status=0$")));
    EXPECT_EQ(terminal.lines().size(), 3) << "summary, status and prompt, nothing of the progress:\n"
                                          << qPrintable(terminal.screen().join(QLatin1Char('\n')));
}

TEST_F(TerminalTest, ColoursNothingWhereThatIsNotWanted)
{
    Terminal terminal(80, height);
    const QString put = QStringLiteral("%1 put absent %2")
                            .arg(QStringLiteral(VESK_PROGRAM), m_server->url(QStringLiteral("in")));
    terminal.type(QStringLiteral("clear; %1; NO_COLOR=1 %1; %1 --no-color; echo status=$?").arg(put));
    ASSERT_TRUE(terminal.waitFor(QStringLiteral("^status=5$")));
    EXPECT_EQ(terminal.count(QStringLiteral("^error: absent: no such file")), 3)
        << qPrintable(terminal.screen().join(QLatin1Char('\n')));
    int coloured = 0;
    const QStringList lines = terminal.colouredLines();
    for (const QString &line : lines)
        coloured += line.contains(QLatin1String("error:")) && line.contains(QLatin1Char('\033')) ? 1 : 0;
    EXPECT_EQ(coloured, 1);
}

TEST_F(TerminalTest, KeepsWhatHasArrivedOnOneInterruption)
{
    Terminal terminal(80, height);
    startAndFreeze(terminal);
    m_server->program().signal(SIGCONT);
    terminal.press(QStringLiteral("C-c"));
    ASSERT_TRUE(terminal.waitFor(QStringLiteral("^status=130$")));
    EXPECT_EQ(terminal.count(QStringLiteral("^interrupted: big\\.raw: .* is kept on the server\\.")), 1)
        << qPrintable(terminal.screen().join(QLatin1Char('\n')));
    EXPECT_GT(sizeOf(partialPath()), 0);
    terminal.type(QStringLiteral("%1 put big.raw %2; echo again=$?")
                      .arg(QStringLiteral(VESK_PROGRAM), m_server->url(QStringLiteral("in"))));
    EXPECT_TRUE(terminal.waitFor(QStringLiteral("^again=0$")));
    EXPECT_EQ(terminal.count(QStringLiteral("saved by resuming")), 1)
        << qPrintable(terminal.screen().join(QLatin1Char('\n')));
}

TEST_F(TerminalTest, DiscardsWhatHasArrivedOnASecondInterruption)
{
    Terminal terminal(80, height);
    startAndFreeze(terminal);
    EXPECT_GT(sizeOf(partialPath()), 0);
    m_server->program().signal(SIGCONT);
    terminal.press(QStringLiteral("C-c"));
    terminal.press(QStringLiteral("C-c"));
    ASSERT_TRUE(terminal.waitFor(QStringLiteral("^status=130$")));
    EXPECT_FALSE(QFileInfo::exists(partialPath())) << qPrintable(terminal.screen().join(QLatin1Char('\n')));
    EXPECT_EQ(terminal.count(QStringLiteral("discarded: big\\.raw: what had arrived is removed")), 1)
        << qPrintable(terminal.screen().join(QLatin1Char('\n')));
}

TEST_F(TerminalTest, SleepsAndGoesOn)
{
    Terminal terminal(80, height);
    startAndFreeze(terminal);
    terminal.press(QStringLiteral("C-z"));
    ASSERT_TRUE(terminal.waitFor(QStringLiteral("Stopped")));
    EXPECT_EQ(terminal.count(QStringLiteral("%")), 0) << "the terminal is the shell's again";
    terminal.type(QStringLiteral("clear; fg; echo status=$?"));
    EXPECT_TRUE(terminal.waitFor(usualLine));
    m_server->program().signal(SIGCONT);
    EXPECT_TRUE(terminal.waitFor(QStringLiteral("^status=0$")))
        << qPrintable(terminal.screen().join(QLatin1Char('\n')));
    EXPECT_EQ(terminal.count(QStringLiteral("%")), 0);
    EXPECT_EQ(sizeOf(m_directory.path(QStringLiteral("in/big.raw"))), size);
}

} // namespace
