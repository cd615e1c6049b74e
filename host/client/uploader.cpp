#include "host/client/uploader.h"

#include "host/client/connect_errors.h"
#include "host/client/local_file.h"
#include "host/error_type.h"
#include "host/event_writer.h"
#include "host/text.h"

#include "vesk_base/message_channel.h"
#include "vesk_base/message_kind.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>

#include <algorithm>
#include <csignal>

namespace VESK::Host
{

namespace
{

using Result = UploadOutcome::Result;

constexpr int deliverySeconds = 3; // for the word "return" to reach the server
constexpr double longestWaitSeconds = 30;
constexpr int fruitlessLimit = 3; // tasks that the server cut off without a byte of progress

double waitSeconds(int failures)
{
    return std::min(longestWaitSeconds, 0.5 * static_cast<double>(1 << std::min(failures, 10)));
}

} // namespace

Uploader::Uploader(const Module &module, const UploadSettings &settings, ProgressDisplay &display,
                   Interruption &interruption)
    : m_settings(settings)
    , m_display(display)
    , m_interruption(interruption)
    , m_connector(settings.transport)
    , m_task(module, display, interruption, settings.stallSeconds)
{
}

UploadSummary Uploader::upload(const QStringList &paths)
{
    m_summary = UploadSummary();
    QElapsedTimer timer;
    timer.start();
    for (const QString &path : paths) {
        if (m_interruption.signal() != 0)
            break;
        UploadJob job{QString(),
                      QString(),
                      m_settings.remote.share,
                      m_settings.remote.path,
                      m_settings.userName,
                      m_settings.verifyMode};
        Failure failure;
        if (!settleLocalFile(path, &job, &failure))
            (void)fail(failure); // told and counted; the next file may do better
        else if (m_isHopeless)
            m_summary.addFailure(ExitCode::Unreachable);
        else
            uploadOne(job);
    }
    finishConnection();
    m_summary.seconds = static_cast<double>(timer.elapsed()) / 1000;
    const int signal = m_interruption.signal();
    if (signal != 0)
        m_summary.exitCode = signal == SIGTERM ? ExitCode::Terminated : ExitCode::Interrupted;
    else if (m_summary.failed > 0 && m_summary.placed + m_summary.alreadyThere > 0)
        m_summary.exitCode = ExitCode::Partial;
    writeEvent(QStringLiteral("summary"), summaryFields(m_summary));
    return m_summary;
}

void Uploader::uploadOne(const UploadJob &job)
{
    Attempts attempts;
    m_sentBytesOfFile = 0;
    m_firstBegin = -1;
    Step step = Step::Again;
    while (step == Step::Again) {
        if (!ensureConnected(job, &attempts))
            return;
        const UploadOutcome outcome = m_task.run(job, m_socket.id());
        m_summary.movedBytes += outcome.moved;
        m_sentBytesOfFile += outcome.moved;
        if (m_firstBegin < 0)
            m_firstBegin = outcome.begin;
        if (!outcome.connectionIsUsable)
            m_socket.close();
        step = settle(job, outcome, &attempts);
    }
}

// False when there is no connection, which has been told.
bool Uploader::ensureConnected(const UploadJob &job, Attempts *attempts)
{
    while (!m_socket.isConnected()) {
        if (m_interruption.signal() != 0)
            return false;
        ConnectFailure failure;
        const RemoteAddress &remote = m_settings.remote;
        m_socket = m_connector.connect(remote.host, remote.port, m_settings.family, &failure);
        if (m_socket.isValid()) {
            m_wasConnected = true;
            return true;
        }
        if (m_interruption.signal() != 0)
            return false;
        if (!m_wasConnected) {
            m_isHopeless = true;
            (void)fail(connectFailure(failure, remote)); // told; that is all
            return false;
        }
        if (!waitBeforeRetry(connectFailure(failure, remote).what, attempts)) {
            if (m_interruption.signal() == 0)
                (void)fail(lostFailure(escaped(job.fileName), m_sentBytesOfFile)); // as above
            return false;
        }
    }
    return true;
}

Uploader::Step Uploader::settle(const UploadJob &job, const UploadOutcome &outcome, Attempts *attempts)
{
    const QString name = escaped(job.fileName);
    switch (outcome.result) {
    case Result::Placed:
    case Result::AlreadyThere:
        return settlePlaced(job, outcome);
    case Result::Refused:
        // After a lost connection the busy one may be ourselves.
        if (outcome.errorType == ErrorType::busy() && attempts->failures > 0
            && waitBeforeRetry(QStringLiteral("%1: the server is still busy with the lost attempt").arg(name),
                               attempts))
            return Step::Again;
        return fail(refusalFailure(name, job.share, outcome.errorType));
    case Result::VerifyFailed:
        return settleVerifyFailure(job, attempts);
    case Result::LocalFile:
        return fail(unreadableFailure(escaped(job.localPath()), outcome.detail));
    case Result::ServerCannotWrite:
        return fail(
            {ExitCode::Refused,
             QStringLiteral("%1: the server could not store the data").arg(name),
             {QStringLiteral("Most likely its disk is full; its log says more."),
              QStringLiteral("What has arrived is kept: run the same command again when there is space.")}});
    case Result::Interrupted:
        tell(QStringLiteral("interrupted: %1: %2 of %3 sent by now; what has arrived is kept on the server.\n"
                            "  - Run the same command again to go on from there.\n")
                 .arg(name, bytesText(qMax<qint64>(0, outcome.begin) + outcome.moved),
                      bytesText(qMax<qint64>(0, outcome.total))));
        return Step::GiveUp;
    case Result::Lost:
        break;
    }
    return settleLoss(job, outcome, attempts);
}

Uploader::Step Uploader::settlePlaced(const UploadJob &job, const UploadOutcome &outcome)
{
    const QString name = escaped(job.fileName);
    const bool isPlaced = outcome.result == Result::Placed;
    writeEvent(
        QStringLiteral("file"),
        {{QStringLiteral("name"), job.localPath()},
         {QStringLiteral("result"), isPlaced ? QStringLiteral("sent") : QStringLiteral("already-there")},
         {QStringLiteral("size"), outcome.total},
         {QStringLiteral("from"), qMax<qint64>(0, outcome.begin)},
         {QStringLiteral("moved"), outcome.moved}});
    if (!isPlaced) {
        ++m_summary.alreadyThere;
        m_summary.skippedBytes += outcome.total;
        if (m_settings.namesEachFile)
            tell(QStringLiteral("already there: %1\n").arg(name));
        return Step::Done;
    }
    ++m_summary.placed;
    m_summary.placedBytes += outcome.total;
    m_summary.resumedBytes += qMax<qint64>(0, m_firstBegin);
    if (m_settings.namesEachFile)
        tell(QStringLiteral("sent: %1 (%2, from %3)\n")
                 .arg(name, bytesText(outcome.total), bytesText(outcome.begin)));
    return Step::Done;
}

Uploader::Step Uploader::settleVerifyFailure(const UploadJob &job, Attempts *attempts)
{
    const QString name = escaped(job.fileName);
    if (!attempts->verifyFailed) {
        attempts->verifyFailed = true;
        m_firstBegin = -1; // the server has dropped what was there
        tell(QStringLiteral("warning: %1: what the server put together differs from the file: it may have "
                            "changed since an earlier attempt. Sending it again from the start.\n")
                 .arg(name));
        return Step::Again;
    }
    return fail(
        {ExitCode::VerifyFailed,
         QStringLiteral("%1: verification failed twice").arg(name),
         {QStringLiteral("Does another program write to the file? A file that changes cannot be sent."),
          QStringLiteral("Otherwise suspect memory or disks on either machine."),
          QStringLiteral("The server has dropped what it received.")}});
}

Uploader::Step Uploader::settleLoss(const UploadJob &job, const UploadOutcome &outcome, Attempts *attempts)
{
    const QString name = escaped(job.fileName);
    attempts->withoutProgress = outcome.moved > 0 ? 0 : attempts->withoutProgress + 1;
    if (outcome.moved > 0)
        attempts->failures = 0;
    if (attempts->withoutProgress >= fruitlessLimit) {
        return fail({ExitCode::ConnectionLost,
                     QStringLiteral("%1: the server cut the connection off %2 times in a row")
                         .arg(name)
                         .arg(fruitlessLimit),
                     {QStringLiteral("The server's log says why."),
                      QStringLiteral("What has arrived before is kept.")}});
    }
    const QString why =
        outcome.detail.isEmpty() ? QStringLiteral("no reason known") : escaped(outcome.detail);
    if (waitBeforeRetry(QStringLiteral("%1: the connection was lost (%2)").arg(name, why), attempts))
        return Step::Again;
    if (m_interruption.signal() != 0)
        return Step::GiveUp;
    return fail(lostFailure(name, m_sentBytesOfFile));
}

Uploader::Step Uploader::fail(const Failure &failure)
{
    m_summary.addFailure(failure.code);
    writeEvent(QStringLiteral("error"),
               {{QStringLiteral("class"), number(failure.code)},
                {QStringLiteral("what"), failure.what},
                {QStringLiteral("hints"), QJsonArray::fromStringList(failure.hints)}});
    tell(failureText(failure));
    return Step::GiveUp;
}

// False when the retries are used up or a signal came.
bool Uploader::waitBeforeRetry(const QString &what, Attempts *attempts)
{
    if (attempts->failures >= m_settings.retries)
        return false;
    const double seconds = waitSeconds(attempts->failures);
    ++attempts->failures;
    tell(QStringLiteral("warning: %1. Trying again in %2 (%3 of %4).\n")
             .arg(what, durationText(seconds), QString::number(attempts->failures),
                  QString::number(m_settings.retries)));
    return m_interruption.wait(seconds);
}

// Tells the server that no task follows; without it, it would wait until it takes us for dead.
void Uploader::finishConnection()
{
    if (!m_socket.isConnected())
        return;
    const ParamMap farewell = {{QStringLiteral("operator"), QStringLiteral("return")}};
    MessageChannel channel(m_socket.id());
    setLinger(m_socket.id(), deliverySeconds);
    (void)channel.send(number(MessageKind::TaskParam),
                       VeskBase::serializeParam(farewell)); // the files are safe
    m_socket.close();
}

void Uploader::tell(const QString &line)
{
    m_display.print(line);
}

void Uploader::writeEvent(const QString &event, const QJsonObject &fields) const
{
    if (m_settings.writesEvents)
        writeEventLine(event, fields);
}

} // namespace VESK::Host
