#include "host/run_progress.h"

#include <gmock/gmock.h>

using namespace VESK::Host;

namespace
{

ProgressView view(qint64 arrived, qint64 moved)
{
    ProgressView view;
    view.phase = Phase::Sending;
    view.total = 10000;
    view.arrived = arrived;
    view.moved = moved;
    return view;
}

TEST(RunAccountTest, ListsRunningTasksFromTheOldest)
{
    RunAccount account;
    const int first = account.begin(QStringLiteral("a"));
    (void)account.begin(QStringLiteral("b"));
    (void)account.begin(QStringLiteral("c"));
    account.end(first);
    const RunProgress run = account.progress(0);
    ASSERT_EQ(run.tasks.size(), 2u);
    EXPECT_EQ(run.tasks[0].name, QStringLiteral("b"));
    EXPECT_EQ(run.tasks[1].name, QStringLiteral("c"));
}

TEST(RunAccountTest, AddsUpWhatIsDoneAndWhatIsRunning)
{
    RunAccount account;
    account.addKnown(3, 30000);
    account.addDone(10000, 4000);
    account.update(account.begin(QStringLiteral("b")), view(5000, 1000));
    const RunProgress run = account.progress(0);
    EXPECT_EQ(run.filesDone, 1);
    EXPECT_EQ(run.filesKnown, 3);
    EXPECT_EQ(run.bytesDone, 15000);
    EXPECT_EQ(run.bytesKnown, 30000);
    EXPECT_EQ(run.bytesMoved, 5000);
}

TEST(RunAccountTest, NeverGoesBackBetweenTheAttemptsForAFile)
{
    RunAccount account;
    account.addKnown(1, 10000);
    const int first = account.begin(QStringLiteral("a"));
    account.update(first, view(6000, 6000));
    account.end(first);
    EXPECT_EQ(account.progress(0).bytesDone, 6000);
    const int second = account.begin(QStringLiteral("a"));
    account.update(second, view(5000, 0));
    EXPECT_EQ(account.progress(0).bytesDone, 6000);
    EXPECT_EQ(account.progress(0).bytesMoved, 6000);
    account.end(second);
    account.addDone(10000, 11000);
    EXPECT_EQ(account.progress(0).bytesDone, 10000);
    EXPECT_EQ(account.progress(0).bytesMoved, 11000);
}

TEST(RunAccountTest, CountsMovedBytesOnlyForTheSpeed)
{
    RunAccount account;
    account.addKnown(1, 10000);
    account.setAllKnown();
    const int task = account.begin(QStringLiteral("a"));
    account.update(task, view(5000, 0));
    account.sample(0);
    account.update(task, view(6000, 1000));
    account.sample(1000);
    EXPECT_DOUBLE_EQ(account.progress(1000).bytesPerSecond, 1000);
    EXPECT_DOUBLE_EQ(account.progress(1000).secondsLeft, 4);
}

TEST(RunAccountTest, KnowsNoTimeLeftBeforeAllFilesAreKnown)
{
    RunAccount account;
    account.addKnown(1, 10000);
    const int task = account.begin(QStringLiteral("a"));
    account.sample(0);
    account.update(task, view(6000, 1000));
    account.sample(1000);
    EXPECT_DOUBLE_EQ(account.progress(1000).secondsLeft, -1);
}

TEST(RunAccountTest, SaysSoWhenASizeIsNotKnown)
{
    RunAccount account;
    account.addKnown(1, 10000);
    account.addKnown(4, -1);
    EXPECT_EQ(account.progress(0).bytesKnown, -1);
    EXPECT_EQ(account.progress(0).filesKnown, 5);
}

TEST(RunAccountTest, NeverTellsMoreDoneThanKnown)
{
    RunAccount account;
    account.addDone(7, 7);
    EXPECT_EQ(account.progress(0).filesKnown, 1);
    EXPECT_EQ(account.progress(0).bytesDone, 7);
}

} // namespace
