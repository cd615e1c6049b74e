#include "host/progress_lines.h"

#include "host/columns.h"

#include "tests/support/qt_text.h"
#include "tests/support/sizes.h"

#include <gmock/gmock.h>

using namespace VESK::Host;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using VESK::Test::mib;

namespace
{

constexpr int tall = 24;

RunProgress::Task task(const QString &name, Phase phase = Phase::Sending)
{
    ProgressView view;
    view.phase = phase;
    view.total = 1000 * mib;
    view.arrived = 420 * mib;
    view.percent = 42;
    view.bytesPerSecond = 35.2 * mib;
    view.secondsLeft = 83;
    return {name, view};
}

RunProgress runOf(int tasks)
{
    RunProgress run;
    for (int i = 0; i < tasks; ++i)
        run.tasks.push_back(task(QStringLiteral("dir/file-%1.raw").arg(i)));
    run.filesDone = 3;
    run.filesKnown = 12;
    run.allAreKnown = true;
    run.bytesDone = 2048 * mib;
    run.bytesKnown = 8192 * mib;
    run.bytesPerSecond = 70.4 * mib;
    run.secondsLeft = 87;
    return run;
}

std::vector<std::string> linesOf(const RunProgress &run, int width, int height = tall)
{
    std::vector<std::string> lines;
    const QStringList shown = progressLines(run, width, height);
    for (const QString &line : shown)
        lines.push_back(line.toStdString());
    return lines;
}

TEST(ProgressLinesTest, GivesEachTaskALineAndTheRunOne)
{
    const auto lines = linesOf(runOf(2), 80);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "dir/file-0.raw   42%   420.0 / 1000.0 MiB    35.2 MiB/s      1:23");
    EXPECT_EQ(lines[1], "dir/file-1.raw   42%   420.0 / 1000.0 MiB    35.2 MiB/s      1:23");
    EXPECT_EQ(lines[2], "3 of 12 files    25%        2.0 / 8.0 GiB    70.4 MiB/s      1:27");
}

TEST(ProgressLinesTest, StaysWithinEveryWidth)
{
    RunProgress run = runOf(5);
    run.tasks[0].name = QString(500, QLatin1Char('n'));
    run.tasks[1].name = QString::fromUtf8("\u6587\u4ef6").repeated(200);
    run.tasks[2].view.phase = Phase::Waiting;
    run.tasks[3].view.phase = Phase::Verifying;
    for (int width = 1; width <= 250; ++width) {
        const QStringList lines = progressLines(run, width, tall);
        ASSERT_EQ(lines.size(), 6);
        for (const QString &line : lines)
            ASSERT_LT(columnsOf(line), qMax(2, width)) << qPrintable(line);
    }
}

TEST(ProgressLinesTest, ShowsMoreWhereThereIsRoom)
{
    EXPECT_THAT(linesOf(runOf(2), 25), Each(HasSubstr("%")));
    EXPECT_THAT(linesOf(runOf(2), 25), Each(Not(HasSubstr("MiB/s"))));
    EXPECT_THAT(linesOf(runOf(2), 40), Each(HasSubstr(" MiB/s")));
    EXPECT_THAT(linesOf(runOf(2), 80), Each(HasSubstr(" / ")));
    EXPECT_THAT(linesOf(runOf(2), 200), Each(EndsWith(" left")));
}

TEST(ProgressLinesTest, NamesThePhaseInsteadOfNumbers)
{
    RunProgress run = runOf(2);
    run.tasks[0].view.phase = Phase::Hashing;
    run.tasks[1].view.phase = Phase::Verifying;
    const auto lines = linesOf(run, 80);
    EXPECT_EQ(lines[0], "dir/file-0.raw        hashing");
    EXPECT_EQ(lines[1], "dir/file-1.raw   42%  verifying");
}

TEST(ProgressLinesTest, ShowsTheEightOldestAndCountsTheOthers)
{
    ASSERT_EQ(linesOf(runOf(11), 80).size(), 9u);
    const auto lines = linesOf(runOf(11), 120);
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_THAT(lines[0], StartsWith("dir/file-0.raw"));
    EXPECT_THAT(lines[7], StartsWith("dir/file-7.raw"));
    EXPECT_THAT(lines[8], StartsWith("3 of 12 files, 3 more running"));
}

TEST(ProgressLinesTest, TakesFewerLinesThanTheTerminalHas)
{
    EXPECT_EQ(linesOf(runOf(8), 80, 5).size(), 4u);
    EXPECT_THAT(linesOf(runOf(8), 120, 5).back(), StartsWith("3 of 12 files, 5 more running"));
    EXPECT_EQ(linesOf(runOf(8), 80, 2).size(), 1u);
}

TEST(ProgressLinesTest, LeavesTheTotalOutForASingleFile)
{
    RunProgress run = runOf(1);
    run.filesKnown = 1;
    EXPECT_EQ(linesOf(run, 80).size(), 1u);
}

TEST(ProgressLinesTest, PromisesNothingBeforeAllFilesAreKnown)
{
    RunProgress run = runOf(1);
    run.allAreKnown = false;
    const std::string line = linesOf(run, 80).back();
    EXPECT_THAT(line, StartsWith("3 of 12+ files"));
    EXPECT_THAT(line, Not(HasSubstr("%")));
    EXPECT_THAT(line, HasSubstr("2.0 GiB"));
    EXPECT_THAT(line, Not(HasSubstr("8.0 GiB")));
}

TEST(ProgressLinesTest, KeepsTheLastPercentForTheLastFile)
{
    RunProgress run = runOf(1);
    run.bytesDone = run.bytesKnown;
    EXPECT_THAT(linesOf(run, 80).back(), HasSubstr(" 99%"));
    run.filesDone = run.filesKnown;
    EXPECT_THAT(linesOf(run, 80).back(), HasSubstr("100%"));
}

TEST(ProgressSentenceTest, TellsTheRunOrItsOnlyTask)
{
    EXPECT_EQ(progressSentence(runOf(2)).toStdString(),
              "3 of 12 files: 25%, 2.0 GiB of 8.0 GiB, 70.4 MiB/s, 1:27 left");
    RunProgress run = runOf(1);
    run.filesKnown = 1;
    EXPECT_EQ(progressSentence(run).toStdString(),
              "dir/file-0.raw: sending, 42%, 420.0 MiB of 1000.0 MiB, 35.2 MiB/s, 1:23 left");
}

TEST(ProgressStatusTest, TellsTheRunAndEachTask)
{
    RunProgress run = runOf(2);
    run.tasks[1].view.phase = Phase::Waiting;
    run.seconds = 12;
    EXPECT_EQ(progressStatus(run).toStdString(),
              "status after 12 s: 3 of 12 files: 25%, 2.0 GiB of 8.0 GiB, 70.4 MiB/s, 1:27 left\n"
              "  dir/file-0.raw: sending, 42%, 420.0 MiB of 1000.0 MiB, 35.2 MiB/s, 1:23 left\n"
              "  dir/file-1.raw: waiting for the server\n");
}

} // namespace
