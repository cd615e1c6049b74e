#include "host/client/session.h"

#include "host/client/connect_errors.h"
#include "host/client/task_errors.h"
#include "host/error_type.h"
#include "host/text.h"

#include "vesk_base/message_channel.h"
#include "vesk_base/message_kind.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

using Result = TaskOutcome::Result;

constexpr int deliverySeconds = 3; // for the word "return" to reach the server
constexpr double longestWaitSeconds = 30;
constexpr int fruitlessLimit = 3; // tasks that the server cut off without a byte of progress

double waitSeconds(int failures)
{
    return std::min(longestWaitSeconds, 0.5 * static_cast<double>(1 << std::min(failures, 10)));
}

} // namespace

Session::Session(const ClientContext &context)
    : m_context(context)
    , m_connector(context.settings.transport)
    , m_runner(context.module, context.display, context.interruption, context.settings.stallSeconds)
{
}

Session::~Session()
{
    finish();
}

void Session::use(const RemoteAddress &remote)
{
    if (remote.host != m_remote.host || remote.port != m_remote.port) {
        finish();
        m_wasConnected = false;
    }
    m_remote = remote;
}

TaskEnd Session::run(const TaskJob &job)
{
    m_attempts = Attempts();
    TaskEnd end;
    Step step = Step::Again;
    while (step == Step::Again && ensureConnected(job, &end)) {
        end.outcome = m_runner.run(job, m_socket.id());
        end.movedBytes += end.outcome.moved;
        if (m_attempts.firstBegin < 0)
            m_attempts.firstBegin = end.outcome.begin;
        if (!end.outcome.connectionIsUsable)
            m_socket.close();
        step = settle(job, &end);
    }
    end.resumedBytes = qMax<qint64>(0, m_attempts.firstBegin);
    return end;
}

// False when there is no connection; `end` then says why.
bool Session::ensureConnected(const TaskJob &job, TaskEnd *end)
{
    while (!m_socket.isConnected()) {
        end->kind = TaskEnd::Kind::Interrupted;
        if (m_context.interruption.signal() != 0)
            return false;
        ConnectFailure failure;
        m_socket = m_connector.connect(m_remote.host, m_remote.port, m_context.settings.family, &failure);
        if (m_socket.isValid()) {
            m_wasConnected = true;
            return true;
        }
        if (m_context.interruption.signal() != 0)
            return false;
        end->serverIsAway = true;
        if (!m_wasConnected) {
            (void)fail(connectFailure(failure, m_remote), end); // that ends it
            return false;
        }
        if (!waitBeforeRetry(connectFailure(failure, m_remote).what)) {
            if (m_context.interruption.signal() == 0)
                (void)fail(lostFailure(job, end->movedBytes), end); // as above
            return false;
        }
        end->serverIsAway = false;
    }
    return true;
}

Session::Step Session::settle(const TaskJob &job, TaskEnd *end)
{
    const TaskOutcome &outcome = end->outcome;
    switch (outcome.result) {
    case Result::Done:
    case Result::AlreadyThere:
    case Result::Stopped:
        end->kind = TaskEnd::Kind::Succeeded;
        return Step::End;
    case Result::Interrupted:
        end->kind = TaskEnd::Kind::Interrupted;
        return Step::End;
    case Result::Refused:
        // After a lost connection the busy one may be ourselves.
        if (outcome.errorType == ErrorType::busy() && m_attempts.failures > 0
            && waitBeforeRetry(
                QStringLiteral("%1: the server is still busy with the lost attempt").arg(job.shownName)))
            return Step::Again;
        break;
    case Result::VerifyFailed:
        if (m_attempts.verifyFailed)
            break;
        m_attempts.verifyFailed = true;
        m_attempts.firstBegin = -1; // the receiver has dropped what was there
        m_context.display.print(verifyWarning(job));
        return Step::Again;
    case Result::LocalFile:
    case Result::ServerFile:
        break;
    case Result::Lost:
        return settleLoss(job, end);
    }
    return fail(taskFailure(job, outcome), end);
}

Session::Step Session::settleLoss(const TaskJob &job, TaskEnd *end)
{
    if (job.mayRepeat && !job.mayRepeat())
        return fail(brokenListingFailure(job), end);
    const TaskOutcome &outcome = end->outcome;
    m_attempts.withoutProgress = outcome.moved > 0 ? 0 : m_attempts.withoutProgress + 1;
    if (outcome.moved > 0)
        m_attempts.failures = 0;
    if (m_attempts.withoutProgress >= fruitlessLimit)
        return fail(cutOffFailure(job, fruitlessLimit), end);
    const QString why =
        outcome.detail.isEmpty() ? QStringLiteral("no reason known") : escaped(outcome.detail);
    if (waitBeforeRetry(QStringLiteral("%1: the connection was lost (%2)").arg(job.shownName, why)))
        return Step::Again;
    if (m_context.interruption.signal() == 0)
        return fail(lostFailure(job, end->movedBytes), end);
    end->kind = TaskEnd::Kind::Interrupted;
    return Step::End;
}

Session::Step Session::fail(const Failure &failure, TaskEnd *end)
{
    end->kind = TaskEnd::Kind::Failed;
    end->failure = failure;
    return Step::End;
}

// False when the retries are used up or a signal came.
bool Session::waitBeforeRetry(const QString &what)
{
    const int retries = m_context.settings.retries;
    if (m_attempts.failures >= retries)
        return false;
    const double seconds = waitSeconds(m_attempts.failures);
    ++m_attempts.failures;
    m_context.display.print(QStringLiteral("warning: %1. Trying again in %2 (%3 of %4).\n")
                                .arg(what, durationText(seconds), QString::number(m_attempts.failures),
                                     QString::number(retries)));
    return m_context.interruption.wait(seconds);
}

// Without the word the server would wait until it takes us for dead.
void Session::finish()
{
    if (m_socket.isConnected()) {
        const ParamMap farewell = {{QStringLiteral("operator"), QStringLiteral("return")}};
        MessageChannel channel(m_socket.id());
        setLinger(m_socket.id(), deliverySeconds);
        (void)channel.send(number(MessageKind::TaskParam),
                           VeskBase::serializeParam(farewell)); // the files are safe
    }
    m_socket.close();
}

} // namespace VESK::Host
