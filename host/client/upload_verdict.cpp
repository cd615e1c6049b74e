#include "host/client/upload_verdict.h"

namespace VESK::Host
{

namespace
{

using Result = UploadOutcome::Result;

// The handler's own words are the only place where these can be told apart.
bool saysVerifyFailed(const QString &line)
{
    return line == QLatin1String("FileVerifyResult error.");
}

bool saysRefused(const QString &line)
{
    return line == QLatin1String("TaskParam Nak.");
}

// The transport's text for "the receiver could not store the data", whatever follows it.
bool saysPeerFailed(const QString &line)
{
    return line.startsWith(QLatin1String("sendfile "))
        && line.contains(QLatin1String("peer side has signaled"));
}

bool saysCannotRead(const QString &line)
{
    const bool isStream =
        line.startsWith(QLatin1String("createStream ")) || line.startsWith(QLatin1String("getStream "));
    return isStream
        || (line.startsWith(QLatin1String("sendfile ")) && line.contains(QLatin1String("File system")));
}

Result resultOf(const TaskFacts &facts)
{
    if (facts.succeeded)
        return facts.end.isEmpty() ? Result::AlreadyThere : Result::Placed;
    if (facts.interrupted)
        return Result::Interrupted;
    if (!facts.gaveUpBecause.isEmpty())
        return Result::Lost;
    if (saysRefused(facts.lastLogError))
        return Result::Refused;
    if (saysVerifyFailed(facts.lastLogError))
        return Result::VerifyFailed;
    if (saysPeerFailed(facts.lastLogError))
        return Result::ServerCannotWrite;
    // Before it has told the size, the handler has only dealt with the local file.
    const bool neverAsked =
        facts.reading.total < 0 || facts.lastLogError.endsWith(QLatin1String(" not exist."));
    return neverAsked || saysCannotRead(facts.lastLogError) ? Result::LocalFile : Result::Lost;
}

} // namespace

UploadOutcome judge(const TaskFacts &facts)
{
    UploadOutcome outcome;
    outcome.result = resultOf(facts);
    outcome.errorType = outcome.result == Result::Refused ? facts.lastError : QString();
    outcome.detail = facts.gaveUpBecause.isEmpty() ? facts.lastLogError : facts.gaveUpBecause;
    outcome.total = facts.reading.total;
    const bool hasBegun = !facts.begin.isEmpty() && facts.reading.done >= 0
        && outcome.result != Result::AlreadyThere && outcome.result != Result::Refused;
    if (hasBegun) {
        outcome.begin = facts.begin.toLongLong();
        const qint64 reached =
            facts.succeeded ? facts.end.toLongLong() : facts.reading.done - facts.reading.unsent;
        outcome.moved = qMax<qint64>(0, reached - outcome.begin);
    }
    const bool askedNothing = outcome.result == Result::LocalFile && facts.reading.done < 0;
    outcome.connectionIsUsable =
        facts.connectionIsUp && (facts.succeeded || outcome.result == Result::Refused || askedNothing);
    return outcome;
}

} // namespace VESK::Host
