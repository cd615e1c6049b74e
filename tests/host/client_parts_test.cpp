#include "host/client/local_tree.h"
#include "host/client/name_spool.h"
#include "host/client/remote_name.h"
#include "host/client/task_errors.h"
#include "host/client/task_verdict.h"
#include "host/error_type.h"
#include "host/progress.h"

#include "tests/support/ordinary_user.h"
#include "tests/support/temp_dir.h"

#include <QtCore/QFile>

#include <gmock/gmock.h>

using namespace VESK::Host;
using namespace VESK::Test;
using Result = TaskOutcome::Result;

namespace
{

TaskFacts download(const char *logLine)
{
    TaskFacts facts;
    facts.operation = Operation::Download;
    facts.connectionIsUp = true;
    facts.lastLogError = QString::fromUtf8(logLine);
    facts.begin = QStringLiteral("100");
    facts.reading.direction = Direction::Down;
    facts.reading.total = 1000;
    facts.reading.done = 400;
    return facts;
}

TEST(ListedPathTest, IsFitWhenItStaysBelow)
{
    for (const char *path : {"/a", "/a/b", "/..a", "/a..", "/.hidden", "/ ", "/a:b", "/...", "/a\\b"})
        EXPECT_EQ(flawOfListedPath(QString::fromUtf8(path)), QString()) << path;
}

TEST(ListedPathTest, IsUnfitOtherwise)
{
    for (const char *path : {"", "a", "/", "//", "//a", "/a/", "/a//b", "/.", "/..", "/a/..", "/../a", "/./a",
                             "/.f.0123456789abcdef.vsktmp", "/.f.0123456789abcdef.vsktmp/a"})
        EXPECT_NE(flawOfListedPath(QString::fromUtf8(path)), QString()) << path;
    EXPECT_NE(flawOfListedPath(QStringLiteral("/a") + QChar(0)), QString());
    EXPECT_NE(flawOfListedPath(QStringLiteral("/a") + QChar(0xDC00)), QString());
}

TEST(NameSpoolTest, GivesBackWhatItTook)
{
    NameSpool spool;
    ASSERT_TRUE(spool.add(NameSpool::Kind::File, QStringLiteral("forgotten")));
    ASSERT_TRUE(spool.clear());
    const QStringList names = {QString(), QString::fromUtf8("a\n\u00fc \U0001d11e"),
                               QString(5000, QLatin1Char('n'))};
    for (const QString &name : names)
        ASSERT_TRUE(spool.add(NameSpool::Kind::File, name));
    ASSERT_TRUE(spool.add(NameSpool::Kind::Directory, QStringLiteral("d")));
    EXPECT_EQ(spool.files(), 3);
    EXPECT_EQ(spool.entries(), 4);
    ASSERT_TRUE(spool.rewind());
    for (const QString &name : names) {
        const auto entry = spool.next();
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->kind, NameSpool::Kind::File);
        EXPECT_EQ(entry->path, name);
    }
    const auto directory = spool.next();
    ASSERT_TRUE(directory);
    EXPECT_EQ(directory->kind, NameSpool::Kind::Directory);
    EXPECT_FALSE(spool.next());
}

// What a walk hands on and reports, sorted; "f:" for files, "d:" for empty directories, "s:" for the skipped.
QStringList walked(const QString &top, int limit = 1000)
{
    QStringList found;
    const auto note = [&](const QString &entry) {
        found.append(entry);
        return found.size() < limit;
    };
    LocalTree tree({[](const QString &, bool) { return true; },
                    [&](const QString &path) { return note(QStringLiteral("f:") + path); },
                    [&](const QString &path) { return note(QStringLiteral("d:") + path); },
                    [&](const QString &path, const QString &) { return note(QStringLiteral("s:") + path); }});
    const bool isWhole = tree.walk(top);
    EXPECT_EQ(isWhole, found.size() < limit);
    found.sort();
    return found;
}

TEST(LocalTreeTest, HandsOnFilesAndEmptyDirectoriesHiddenOnesToo)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write(QStringLiteral("a/b/f"), "f"));
    ASSERT_TRUE(directory.write(QStringLiteral("a/.g"), "g"));
    ASSERT_TRUE(directory.mkdir(QStringLiteral(".h/e")));
    EXPECT_EQ(walked(directory.path()),
              (QStringList{QStringLiteral("d:.h/e"), QStringLiteral("f:a/.g"), QStringLiteral("f:a/b/f")}));
    EXPECT_EQ(walked(directory.path(), 1).size(), 1) << "it ends when it is told to";
}

TEST(LocalTreeTest, ReportsWhatAnOrdinaryUserCannotRead)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write(QStringLiteral("good"), "g"));
    ASSERT_TRUE(directory.write(QStringLiteral("bad"), "b"));
    ASSERT_TRUE(directory.mkdir(QStringLiteral("closed")));
    ASSERT_TRUE(QFile::setPermissions(directory.path(), QFileDevice::Permissions(0x7755)));
    ASSERT_TRUE(QFile::setPermissions(directory.path(QStringLiteral("bad")), {}));
    ASSERT_TRUE(QFile::setPermissions(directory.path(QStringLiteral("closed")), {}));
    EXPECT_TRUE(holdsForOrdinaryUser([&] {
        return walked(directory.path())
            == QStringList{QStringLiteral("d:closed"), QStringLiteral("f:good"), QStringLiteral("s:bad"),
                           QStringLiteral("s:closed")};
    }));
    ASSERT_TRUE(
        QFile::setPermissions(directory.path(QStringLiteral("closed")), QFileDevice::Permissions(0x7700)));
}

TEST(LocalTreeTest, ReportsATopThatIsNotThere)
{
    const TempDir directory;
    EXPECT_EQ(walked(directory.path(QStringLiteral("absent"))).size(), 1);
}

TEST(DownloadVerdictTest, NamesTheFailuresByTheHandlersWords)
{
    EXPECT_EQ(judge(download("FileVerify failed.")).result, Result::VerifyFailed);
    EXPECT_EQ(judge(download("recvfile /a failed.\nConnection was broken.")).result, Result::Lost);
    EXPECT_EQ(judge(download("recvfile /a failed.\nFile system failure: failure in write.")).result,
              Result::LocalFile);
    EXPECT_EQ(judge(download("recv TaskParamAck failed.")).result, Result::Lost);
    EXPECT_EQ(judge(download("send FileVerifyResult failed.")).result, Result::Lost);
    for (const char *line : {"calc FileVerifyValue failed.", "setParam tmpFilePath /a failed.",
                             "remove tmp file /a failed.", "mkdir /a failed.", "createStream /a failed.",
                             "getStream /a failed.", "removeFile /a failed.", "rename /a to /b failed."})
        EXPECT_EQ(judge(download(line)).result, Result::LocalFile) << line;
}

TEST(DownloadVerdictTest, HeedsWhatAServerSaidBeforeItLeft)
{
    TaskFacts facts = download("send TaskParam failed.");
    EXPECT_EQ(judge(facts).result, Result::Lost);
    facts.partingWord = ErrorType::tooManyConnections();
    facts.connectionIsUp = false;
    EXPECT_EQ(judge(facts).result, Result::Refused);
    EXPECT_EQ(judge(facts).errorType, ErrorType::tooManyConnections());
    EXPECT_FALSE(judge(facts).connectionIsUsable);
}

TEST(DownloadVerdictTest, ClosesAConnectionOnWhichDataMayStillCome)
{
    EXPECT_FALSE(judge(download("mkdir /a failed.")).connectionIsUsable);
    TaskFacts before = download("calc FileVerifyValue failed.");
    before.reading.total = -1;
    EXPECT_TRUE(judge(before).connectionIsUsable);
}

TEST(DownloadVerdictTest, CountsFromTheStartWhenTheOldPartWasDropped)
{
    TaskFacts facts = download("");
    facts.succeeded = true;
    facts.begin = QStringLiteral("5000");
    facts.end = QStringLiteral("1000");
    EXPECT_EQ(judge(facts).begin, 0);
    EXPECT_EQ(judge(facts).moved, 1000);
}

TEST(DownloadVerdictTest, TakesBothAnswersForAMissingFile)
{
    TaskFacts nak = download("TaskParam Nak.");
    nak.lastError = ErrorType::fileNotExist();
    TaskJob job;
    job.operation = Operation::Download;
    for (const TaskFacts &facts : {nak, download("server file [/a] not existed .")}) {
        const TaskOutcome outcome = judge(facts);
        EXPECT_EQ(outcome.result, Result::Refused);
        EXPECT_EQ(taskFailure(job, outcome).code, ExitCode::SourceMissing);
    }
}

TEST(DownloadProgressTest, TellsThePhasesApart)
{
    CounterReading reading;
    reading.direction = Direction::Down;
    EXPECT_EQ(phaseOf(reading), Phase::Hashing);
    reading.done = 10;
    EXPECT_EQ(phaseOf(reading), Phase::Waiting);
    reading.total = 100;
    EXPECT_EQ(phaseOf(reading), Phase::Receiving);
    reading.done = 100;
    EXPECT_EQ(phaseOf(reading), Phase::Verifying);
}

TEST(DownloadProgressTest, ShowsWhatHasArrivedAndWatchesThatItGrows)
{
    ProgressMeter meter;
    CounterReading reading;
    reading.direction = Direction::Down;
    reading.total = 1000;
    reading.done = 100;
    (void)meter.update(0, reading);
    reading.done = 300;
    const ProgressView view = meter.update(1000, reading);
    EXPECT_EQ(view.arrived, 300);
    EXPECT_EQ(view.percent, 30);
    EXPECT_EQ(view.bytesPerSecond, 200);
    (void)meter.update(3000, reading);
    EXPECT_EQ(meter.lastMoveMs(), 1000);
}

} // namespace
