#include "host/client/task_verdict.h"

#include <QtCore/QStringList>

#include <algorithm>

namespace VESK::Host
{

namespace
{

using Result = TaskOutcome::Result;

bool startsWithAny(const QString &line, const QStringList &starts)
{
    return std::any_of(starts.begin(), starts.end(),
                       [&line](const QString &start) { return line.startsWith(start); });
}

// The handler's own words are the only place where the kinds of failure can be told apart.
Result uploadResult(const TaskFacts &facts)
{
    const QString &line = facts.lastLogError;
    if (line == QLatin1String("FileVerifyResult error."))
        return Result::VerifyFailed;
    const bool failedSending = line.startsWith(QLatin1String("sendfile "));
    // The transport's text for "the receiver could not store the data", whatever follows it.
    if (failedSending && line.contains(QLatin1String("peer side has signaled")))
        return Result::ServerFile;
    const bool cannotRead =
        startsWithAny(line, {QStringLiteral("createStream "), QStringLiteral("getStream ")})
        || (failedSending && line.contains(QLatin1String("File system")));
    // Before it has told the size, the handler has only dealt with the local file.
    const bool neverAsked = facts.reading.total < 0 || line.endsWith(QLatin1String(" not exist."));
    return neverAsked || cannotRead ? Result::LocalFile : Result::Lost;
}

Result downloadResult(const TaskFacts &facts)
{
    const QString &line = facts.lastLogError;
    if (line == QLatin1String("FileVerify failed."))
        return Result::VerifyFailed;
    if (line.startsWith(QLatin1String("recvfile ")))
        return line.contains(QLatin1String("File system")) ? Result::LocalFile : Result::Lost;
    if (startsWithAny(line, {QStringLiteral("server file [")}))
        return Result::Refused;
    static const QStringList local = {
        QStringLiteral("calc FileVerifyValue "), QStringLiteral("setParam tmpFilePath "),
        QStringLiteral("remove tmp file "),      QStringLiteral("mkdir "),
        QStringLiteral("createStream "),         QStringLiteral("getStream "),
        QStringLiteral("removeFile "),           QStringLiteral("rename "),
    };
    return startsWithAny(line, local) ? Result::LocalFile : Result::Lost;
}

Result resultOf(const TaskFacts &facts)
{
    const bool movesFile = facts.operation == Operation::Upload || facts.operation == Operation::Download;
    if (facts.stopped)
        return Result::Stopped;
    if (facts.succeeded)
        return movesFile && facts.end.isEmpty() ? Result::AlreadyThere : Result::Done;
    if (facts.interrupted)
        return Result::Interrupted;
    if (!facts.gaveUpBecause.isEmpty())
        return Result::Lost;
    if (facts.lastLogError == QLatin1String("TaskParam Nak.") || !facts.partingWord.isEmpty())
        return Result::Refused;
    if (facts.operation == Operation::Upload)
        return uploadResult(facts);
    return facts.operation == Operation::Download ? downloadResult(facts) : Result::Lost;
}

void measure(const TaskFacts &facts, TaskOutcome *outcome)
{
    const bool hasBegun = !facts.begin.isEmpty() && facts.reading.done >= 0 && facts.reading.total >= 0
        && outcome->result != Result::AlreadyThere && outcome->result != Result::Refused;
    if (!hasBegun)
        return;
    outcome->begin = facts.begin.toLongLong();
    if (outcome->begin > facts.reading.total)
        outcome->begin = 0; // what was there could not be continued and was dropped
    const qint64 reached =
        facts.succeeded ? facts.end.toLongLong() : facts.reading.done - facts.reading.unsent;
    outcome->moved = qMax<qint64>(0, reached - outcome->begin);
}

// A download's failure before it has asked leaves the size unknown, an upload's the position.
bool hasAskedNothing(const TaskFacts &facts)
{
    const bool isDownload = facts.operation == Operation::Download;
    return isDownload ? facts.reading.total < 0 : facts.reading.done < 0;
}

} // namespace

TaskOutcome judge(const TaskFacts &facts)
{
    TaskOutcome outcome;
    outcome.result = resultOf(facts);
    if (outcome.result == Result::Refused)
        outcome.errorType = facts.partingWord.isEmpty() ? facts.lastError : facts.partingWord;
    if (outcome.result == Result::Refused && facts.lastLogError.startsWith(QLatin1String("server file [")))
        outcome.errorType = QStringLiteral("FileNotExist");
    outcome.detail = facts.gaveUpBecause.isEmpty() ? facts.lastLogError : facts.gaveUpBecause;
    outcome.total = facts.reading.total;
    measure(facts, &outcome);
    const bool leftAlone = outcome.result == Result::LocalFile && hasAskedNothing(facts);
    outcome.connectionIsUsable =
        facts.connectionIsUp && (facts.succeeded || outcome.result == Result::Refused || leftAlone);
    return outcome;
}

} // namespace VESK::Host
