#include "host/client/task_verdict.h"
#include "host/client/transfer_summary.h"
#include "host/error_type.h"
#include "host/errors.h"
#include "host/text.h"

#include <gmock/gmock.h>

using namespace VESK::Host;
using Result = TaskOutcome::Result;

namespace
{

TaskFacts failedWith(const char *logLine)
{
    TaskFacts facts;
    facts.connectionIsUp = true;
    facts.lastLogError = QString::fromUtf8(logLine);
    facts.reading = {1000, 400, 100};
    facts.begin = QStringLiteral("100");
    return facts;
}

TEST(EscapedTest, LeavesNothingThatMovesTheCursor)
{
    EXPECT_EQ(escaped(QStringLiteral("a\nb\tc\033[2J\\")), QStringLiteral("a\\nb\\tc\\u001b[2J\\\\"));
    EXPECT_EQ(escaped(QString(QChar(0x202E))), QStringLiteral("\\u202e"));
    EXPECT_EQ(escaped(QString(QChar(0xD800))), QStringLiteral("\\ud800"));
    EXPECT_EQ(escaped(QString::fromUtf8("ü 𝄞 %1")), QString::fromUtf8("ü 𝄞 %1"));
}

TEST(TextTest, WritesSizesAndTimesForPeople)
{
    EXPECT_EQ(bytesText(512), QStringLiteral("512 B"));
    EXPECT_EQ(bytesText(1536), QStringLiteral("1.5 KiB"));
    EXPECT_EQ(bytesText(qint64(5) << 30), QStringLiteral("5.0 GiB"));
    EXPECT_EQ(durationText(1.5), QStringLiteral("1.5 s"));
    EXPECT_EQ(durationText(59), QStringLiteral("59 s"));
    EXPECT_EQ(durationText(727), QStringLiteral("12:07"));
    EXPECT_EQ(durationText(3723), QStringLiteral("1:02:03"));
}

TEST(ExitCodeTest, NamesAClassOnlyWhenAllFailuresAreOfIt)
{
    const ExitCode first = combinedExitCode(ExitCode::Success, ExitCode::SourceMissing);
    EXPECT_EQ(first, ExitCode::SourceMissing);
    EXPECT_EQ(combinedExitCode(first, ExitCode::SourceMissing), ExitCode::SourceMissing);
    EXPECT_EQ(combinedExitCode(first, ExitCode::Refused), ExitCode::Partial);
    EXPECT_EQ(combinedExitCode(ExitCode::Partial, ExitCode::Refused), ExitCode::Partial);
}

TEST(RefusalTest, ExplainsEveryKnownErrorType)
{
    const QString unknown =
        refusalFailure(QStringLiteral("f"), QStringLiteral("s"), QStringLiteral("Odd\n")).what;
    EXPECT_TRUE(unknown.contains(QStringLiteral("\"Odd\\n\"")));
    for (const QString &type :
         {ErrorType::noSuchShare(), ErrorType::badRequest(), ErrorType::notSupported(),
          ErrorType::nameTooLong(), ErrorType::notDirectory(), ErrorType::isDirectory(),
          ErrorType::notRegularFile(), ErrorType::notReadable(), ErrorType::notWritable(),
          ErrorType::noSpace(), ErrorType::busy(), ErrorType::serverError()}) {
        const Failure failure = refusalFailure(QStringLiteral("f"), QStringLiteral("s"), type);
        EXPECT_EQ(failure.code, ExitCode::Refused);
        EXPECT_FALSE(failure.what.contains(type)) << "not explained: " << qPrintable(type);
        EXPECT_FALSE(failure.hints.isEmpty());
    }
}

TEST(RefusalTest, SaysSoWhenThereIsNoReason)
{
    EXPECT_TRUE(refusalFailure(QStringLiteral("f"), QStringLiteral("s"), QString())
                    .what.contains(QStringLiteral("no reason")));
}

TEST(UploadVerdictTest, TellsSentFromAlreadyThere)
{
    TaskFacts facts;
    facts.succeeded = true;
    facts.connectionIsUp = true;
    facts.reading = {1000, 1000, 0};
    facts.begin = QStringLiteral("400");
    EXPECT_EQ(judge(facts).result, Result::AlreadyThere);
    EXPECT_EQ(judge(facts).moved, 0);
    facts.end = QStringLiteral("1000");
    EXPECT_EQ(judge(facts).result, Result::Done);
    EXPECT_EQ(judge(facts).begin, 400);
    EXPECT_EQ(judge(facts).moved, 600);
    EXPECT_TRUE(judge(facts).connectionIsUsable);
}

TEST(UploadVerdictTest, CountsOfALostTransferWhatHasArrived)
{
    const TaskOutcome outcome = judge(failedWith("recv FileVerifyResult failed."));
    EXPECT_EQ(outcome.result, Result::Lost);
    EXPECT_EQ(outcome.moved, 200);
    EXPECT_FALSE(outcome.connectionIsUsable);
}

TEST(UploadVerdictTest, KeepsTheConnectionAfterARefusal)
{
    TaskFacts facts = failedWith("TaskParam Nak.");
    facts.reading.done = -1;
    facts.lastError = QStringLiteral("NoSpace");
    EXPECT_EQ(judge(facts).result, Result::Refused);
    EXPECT_EQ(judge(facts).errorType, QStringLiteral("NoSpace"));
    EXPECT_TRUE(judge(facts).connectionIsUsable);
    facts.connectionIsUp = false;
    EXPECT_FALSE(judge(facts).connectionIsUsable);
}

TEST(UploadVerdictTest, NamesTheFailuresByTheHandlersWords)
{
    EXPECT_EQ(judge(failedWith("FileVerifyResult error.")).result, Result::VerifyFailed);
    EXPECT_EQ(judge(failedWith("sendfile /a failed.\nThe peer side has signaled an error.")).result,
              Result::ServerFile);
    EXPECT_EQ(judge(failedWith("sendfile /a failed.\nConnection was broken.")).result, Result::Lost);
    EXPECT_EQ(judge(failedWith("sendfile /a failed.\nFile system failure: failure in write.")).result,
              Result::LocalFile);
    EXPECT_EQ(judge(failedWith("createStream /a failed.")).result, Result::LocalFile);
    EXPECT_EQ(judge(failedWith("file /a not exist.")).result, Result::LocalFile);
}

TEST(UploadVerdictTest, BlamesTheLocalFileBeforeTheServerWasAsked)
{
    TaskFacts facts;
    facts.lastLogError = QStringLiteral("calc FileVerifyValue failed.");
    facts.connectionIsUp = true;
    EXPECT_EQ(judge(facts).result, Result::LocalFile);
    EXPECT_TRUE(judge(facts).connectionIsUsable);
}

TEST(UploadVerdictTest, PutsASignalBeforeAllElse)
{
    TaskFacts facts = failedWith("sendfile /a failed.\nConnection was broken.");
    facts.interrupted = true;
    EXPECT_EQ(judge(facts).result, Result::Interrupted);
    facts.interrupted = false;
    facts.gaveUpBecause = QStringLiteral("silence");
    EXPECT_EQ(judge(facts).result, Result::Lost);
    EXPECT_EQ(judge(facts).detail, QStringLiteral("silence"));
}

TEST(SummaryTest, NamesWhatHappenedAndNoMore)
{
    TransferSummary summary;
    summary.placed = 1;
    summary.movedBytes = 1024;
    summary.seconds = 1;
    EXPECT_EQ(summaryText(summary), QStringLiteral("1 file sent (1.0 KiB moved), 1.0 s, 1.0 KiB/s"));
    summary.verifyMode = QStringLiteral("xxh128");
    summary.resumedBytes = 2048;
    summary.alreadyThere = 2;
    summary.skippedBytes = 10;
    summary.addFailure(ExitCode::Refused);
    EXPECT_EQ(summaryText(summary),
              QStringLiteral("1 file sent (1.0 KiB moved), 2.0 KiB saved by resuming, "
                             "2 files already there (10 B saved), 1 file failed, verified with xxh128, "
                             "1.0 s, 1.0 KiB/s"));
}

} // namespace
