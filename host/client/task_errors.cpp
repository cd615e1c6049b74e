#include "host/client/task_errors.h"

#include "host/error_type.h"
#include "host/text.h"

namespace VESK::Host
{

namespace
{

using Result = TaskOutcome::Result;

Failure missingFailure(const TaskJob &job, const QString &what, const QString &reason)
{
    return {ExitCode::SourceMissing,
            QStringLiteral("%1: %2 on the server").arg(job.shownName, what),
            {QStringLiteral("`vesk ls` shows what is there; hidden names are not listed.")},
            reason};
}

Failure refusal(const TaskJob &job, const QString &errorType)
{
    if (errorType == ErrorType::fileNotExist())
        return missingFailure(job, QStringLiteral("no such file"), errorType);
    if (errorType == ErrorType::noSuchDirectory())
        return missingFailure(job, QStringLiteral("no such directory"), errorType);
    if (errorType == ErrorType::isDirectory() && job.operation == Operation::Download)
        return {ExitCode::Refused,
                QStringLiteral("%1: it is a directory on the server").arg(job.shownName),
                {QStringLiteral("With -r, directories are downloaded with all that is in them.")},
                errorType};
    if (errorType == ErrorType::notDirectory() && job.operation == Operation::List)
        return {ExitCode::Refused,
                QStringLiteral("%1: it is a file, not a directory").arg(job.shownName),
                {QStringLiteral("`vesk get` downloads it.")},
                errorType};
    if (errorType == ErrorType::exists())
        return existsFailure(job);
    return refusalFailure(job.shownName, job.share, errorType);
}

Failure verifyFailure(const TaskJob &job)
{
    const QString dropped = job.operation == Operation::Upload
        ? QStringLiteral("The server has dropped what it received.")
        : QStringLiteral("What was received has been dropped; a file that was here before is untouched.");
    return {ExitCode::VerifyFailed,
            QStringLiteral("%1: verification failed twice").arg(job.shownName),
            {QStringLiteral("Does another program write to the file? A file that changes cannot be sent."),
             QStringLiteral("Otherwise suspect memory or disks on either machine."), dropped},
            QStringLiteral("VerifyFailed")};
}

Failure localFailure(const TaskJob &job, const QString &detail)
{
    const QString why = escaped(detail.simplified());
    const QString path = escaped(job.localPath());
    if (job.operation != Operation::Download)
        return localFileFailure(path, QStringLiteral("cannot read it: %1").arg(why));
    Failure failure = localFileFailure(path, QStringLiteral("cannot write it: %1").arg(why));
    failure.hints = QStringList{
        QStringLiteral(
            "Is there space on the disk, and may you write to the directory? `vesk doctor --dir %1` looks.")
            .arg(escaped(job.localDirectory)),
        QStringLiteral("What has arrived is kept: run the same command again to go on.")};
    return failure;
}

} // namespace

Failure taskFailure(const TaskJob &job, const TaskOutcome &outcome)
{
    switch (outcome.result) {
    case Result::Refused:
        return refusal(job, outcome.errorType);
    case Result::VerifyFailed:
        return verifyFailure(job);
    case Result::LocalFile:
        return localFailure(job, outcome.detail);
    case Result::ServerFile:
        return {ExitCode::Refused,
                QStringLiteral("%1: the server could not store the data").arg(job.shownName),
                {QStringLiteral("Most likely its disk is full; its log says more."),
                 QStringLiteral("What has arrived is kept: run the same command again when there is space.")},
                QStringLiteral("ServerStorage")};
    default:
        break;
    }
    return {ExitCode::Internal,
            QStringLiteral("%1: an unexpected end: %2").arg(job.shownName, escaped(outcome.detail)),
            {QStringLiteral("That is a defect of this program; please report it with the log (--log-file).")},
            QStringLiteral("Internal")};
}

Failure existsFailure(const TaskJob &job)
{
    const QString where =
        job.operation == Operation::Upload ? QStringLiteral("on the server") : QStringLiteral("here");
    return {
        ExitCode::Refused,
        QStringLiteral("%1: a file of that name is there already, %2").arg(job.shownName, where),
        {QStringLiteral("`--existing update` replaces it where it differs, `--existing skip` leaves it.")},
        ErrorType::exists()};
}

Failure localFileFailure(const QString &path, const QString &why)
{
    const QString reason = why.isEmpty() ? QStringLiteral("it cannot be read") : why;
    return {ExitCode::LocalFile,
            QStringLiteral("%1: %2").arg(path, reason),
            {QStringLiteral("Nothing was changed on the server; the other files go on.")},
            QStringLiteral("LocalFile")};
}

Failure cutOffFailure(const TaskJob &job, int times)
{
    QStringList hints = {QStringLiteral("The server's log says why.")};
    if (job.movesFile())
        hints << QStringLiteral("What has arrived before is kept.");
    return {ExitCode::ConnectionLost,
            QStringLiteral("%1: the server cut the connection off %2 times in a row")
                .arg(job.shownName)
                .arg(times),
            hints, QStringLiteral("CutOff")};
}

Failure lostFailure(const TaskJob &job, qint64 movedBytes)
{
    const QString what =
        QStringLiteral("%1: the connection was lost and could not be made again").arg(job.shownName);
    const QString again =
        QStringLiteral("Run the same command again when the line is back; `vesk doctor` tests it.");
    const QString reason = QStringLiteral("ConnectionLost");
    if (!job.movesFile())
        return {ExitCode::ConnectionLost, what, {again}, reason};
    const QString way = job.operation == Operation::Upload ? QStringLiteral("went to the server")
                                                           : QStringLiteral("came from the server");
    return {
        ExitCode::ConnectionLost,
        what,
        {QStringLiteral("%1 of it %2 in this run; what has arrived is kept.").arg(bytesText(movedBytes), way),
         again},
        reason};
}

Failure brokenListingFailure(const TaskJob &job)
{
    return {ExitCode::ConnectionLost,
            QStringLiteral("%1: the connection was lost, and the listing is not complete").arg(job.shownName),
            {QStringLiteral("Run the same command again.")},
            QStringLiteral("ConnectionLost")};
}

QString verifyWarning(const TaskJob &job)
{
    return QStringLiteral("warning: %1: what was put together differs from the file: it may have changed "
                          "since an earlier attempt. Moving it again from the start.\n")
        .arg(job.shownName);
}

} // namespace VESK::Host
