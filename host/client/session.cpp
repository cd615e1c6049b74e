#include "host/client/session.h"

#include "host/client/connect_errors.h"
#include "host/client/run_meter.h"
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

constexpr int deliverySeconds = 3; // for the last message to reach the server
constexpr double longestWaitSeconds = 30;
constexpr double lookSeconds = 0.1; // between looks at the other sessions
constexpr int answerLimitMs = 12000; // the server may first have to see that an upload is dead
constexpr int fruitlessLimit = 3; // tasks that the server cut off without a byte of progress

double waitSeconds(double first, int failures)
{
    const double grown = first * static_cast<double>(1 << std::min(failures, 10));
    return std::max(first, std::min(longestWaitSeconds, grown));
}

} // namespace

Session::Session(const ClientContext &context)
    : m_context(context)
    , m_ownConnector(std::make_unique<Connector>(context.settings.transport))
    , m_runner(context)
{
}

Session::Session(const ClientContext &context, ServerLink &link, Resign mayResign)
    : m_context(context)
    , m_link(&link)
    , m_mayResign(std::move(mayResign))
    , m_runner(context)
{
}

Session::~Session()
{
    finish();
}

void Session::use(const RemoteAddress &remote)
{
    // A connection belongs to the user who said hello on it.
    const bool isSame = m_link && remote.host == m_link->remote().host && remote.port == m_link->remote().port
        && remote.user == m_link->remote().user;
    if (isSame)
        return;
    finish();
    m_wasConnected = false;
    m_ownLink = std::make_unique<ServerLink>(*m_ownConnector, remote, m_context.settings.family);
    m_link = m_ownLink.get();
}

TaskEnd Session::run(const TaskJob &job)
{
    TaskAttempts attempts;
    return run(job, &attempts);
}

TaskEnd Session::run(const TaskJob &job, TaskAttempts *attempts)
{
    m_attempts = attempts;
    TaskEnd end;
    Step step = Step::Again;
    while (step == Step::Again && ensureConnected(job, &end)) {
        end.outcome = m_runner.run(job, m_socket.id());
        m_attempts->movedBytes += end.outcome.moved;
        if (m_attempts->firstBegin < 0)
            m_attempts->firstBegin = end.outcome.begin;
        if (!end.outcome.connectionIsUsable)
            drop(end.outcome);
        step = settle(job, &end);
    }
    end.movedBytes = m_attempts->movedBytes;
    end.resumedBytes = qMax<qint64>(0, m_attempts->firstBegin);
    return end;
}

// False when there is no connection; `end` then says why.
bool Session::ensureConnected(const TaskJob &job, TaskEnd *end)
{
    while (!m_socket.isConnected()) {
        closeConnection();
        end->kind = TaskEnd::Kind::Interrupted;
        if (m_context.interruption.isRaised())
            return false;
        GreetingFailure failure;
        if (connect(&failure)) {
            takeConnection();
            return true;
        }
        if (m_context.interruption.isRaised() || settleNoConnection(job, failure, end) == Step::End)
            return false;
    }
    return true;
}

// A new connection on which both ends know each other.
bool Session::connect(GreetingFailure *failure)
{
    ConnectFailure unconnected;
    m_socket = m_link->connect(&unconnected);
    if (!m_socket.isValid()) {
        failure->failure = connectFailure(unconnected, m_link->remote());
        failure->mayRepeat = true;
        return false;
    }
    if (greet(m_socket.id(), m_context, m_link->remote(), failure))
        return true;
    m_socket.close();
    return false;
}

Session::Step Session::settleNoConnection(const TaskJob &job, const GreetingFailure &failure, TaskEnd *end)
{
    m_wasTurnedAway = m_wasTurnedAway || failure.isFull;
    const bool isFull = failure.isFull || !m_wasConnected;
    if ((isFull || othersAreConnected()) && resign(isFull ? Obstacle::Full : Obstacle::Lost, end))
        return Step::End;
    // A server that was there and is not may just be starting again.
    const bool isFinal = !failure.mayRepeat || (!m_link->wasReached() && !m_wasTurnedAway);
    const Step step = isFinal
        ? fail(failure.failure, end)
        : retry(failure.failure.what,
                failure.isFull ? failure.failure : lostFailure(job, m_attempts->movedBytes), end);
    end->serverIsAway = end->kind == TaskEnd::Kind::Failed && step == Step::End;
    return step;
}

// A downloading client has just told the server that the file was not right.
void Session::drop(const TaskOutcome &outcome)
{
    if (outcome.result == Result::VerifyFailed && m_socket.isConnected())
        setLinger(m_socket.id(), deliverySeconds);
    closeConnection();
}

Session::Step Session::settle(const TaskJob &job, TaskEnd *end)
{
    const TaskOutcome &outcome = end->outcome;
    switch (outcome.result) {
    case Result::Done:
    case Result::AlreadyThere:
    case Result::Kept:
    case Result::Stopped:
        m_link->endOutage();
        end->kind = TaskEnd::Kind::Succeeded;
        return Step::End;
    case Result::Interrupted:
        end->kind = TaskEnd::Kind::Interrupted;
        return Step::End;
    case Result::Refused:
        return settleRefusal(job, end);
    case Result::VerifyFailed:
        if (m_attempts->verifyFailed)
            break;
        m_attempts->verifyFailed = true;
        m_attempts->firstBegin = -1; // the receiver has dropped what was there
        m_context.display.note(verifyWarning(job));
        return Step::Again;
    case Result::LocalFile:
    case Result::ServerFile:
        break;
    case Result::Lost:
        return settleLoss(job, end);
    }
    return fail(taskFailure(job, outcome), end);
}

Session::Step Session::settleRefusal(const TaskJob &job, TaskEnd *end)
{
    const TaskOutcome &outcome = end->outcome;
    if (outcome.errorType == ErrorType::exists() && m_context.settings.existing == Existing::Skip) {
        end->outcome.result = Result::Kept;
        end->kind = TaskEnd::Kind::Succeeded;
        return Step::End;
    }
    if (outcome.errorType == ErrorType::tooManyConnections()) {
        closeConnection();
        if (resign(Obstacle::Full, end))
            return Step::End;
        return retry(QStringLiteral("%1: the server takes no further connection").arg(job.shownName),
                     taskFailure(job, outcome), end);
    }
    if (outcome.errorType == ErrorType::shuttingDown()) {
        closeConnection();
        return retry(QStringLiteral("%1: the server is about to end").arg(job.shownName),
                     taskFailure(job, outcome), end);
    }
    // After a lost connection the busy one may be ourselves.
    if (outcome.errorType == ErrorType::busy() && m_attempts->failures > 0)
        return retry(QStringLiteral("%1: the server is still busy with the lost attempt").arg(job.shownName),
                     taskFailure(job, outcome), end);
    if (m_context.interruption.isRaised()) {
        end->kind = TaskEnd::Kind::Interrupted;
        return Step::End;
    }
    return fail(taskFailure(job, outcome), end);
}

Session::Step Session::settleLoss(const TaskJob &job, TaskEnd *end)
{
    if (job.mayRepeat && !job.mayRepeat())
        return fail(brokenListingFailure(job), end);
    m_context.meter.addLoss();
    const TaskOutcome &outcome = end->outcome;
    m_attempts->withoutProgress = outcome.moved > 0 ? 0 : m_attempts->withoutProgress + 1;
    if (outcome.moved > 0) {
        m_attempts->failures = 0;
        m_link->endOutage();
    }
    if (m_attempts->withoutProgress >= fruitlessLimit)
        return fail(cutOffFailure(job, fruitlessLimit), end);
    const QString why =
        outcome.detail.isEmpty() ? QStringLiteral("no reason known") : escaped(outcome.detail);
    return retry(QStringLiteral("%1: the connection was lost (%2)").arg(job.shownName, why),
                 lostFailure(job, m_attempts->movedBytes), end);
}

Session::Step Session::fail(const Failure &failure, TaskEnd *end)
{
    end->kind = TaskEnd::Kind::Failed;
    end->failure = failure;
    return Step::End;
}

// Another attempt after a wait; when the retries are used up, the failure is `otherwise`.
Session::Step Session::retry(const QString &what, const Failure &otherwise, TaskEnd *end)
{
    if (m_context.interruption.isRaised()) {
        end->kind = TaskEnd::Kind::Interrupted;
        return Step::End;
    }
    if (m_attempts->failures >= m_context.settings.retries)
        return fail(otherwise, end);
    const double seconds = waitSeconds(m_context.settings.retryWaitSeconds, m_attempts->failures);
    ++m_attempts->failures;
    if (!othersAreConnected()) {
        if (m_link->mayTellOutage(this))
            warnOfRetry(what, seconds);
        return waitAlone(seconds, end);
    }
    if (m_link->beginOutage())
        warnOfRetry(what, seconds);
    return defer(seconds, end);
}

// Leaves the task to any session that has nothing to do then.
Session::Step Session::defer(double seconds, TaskEnd *end)
{
    end->kind = TaskEnd::Kind::Deferred;
    end->againInSeconds = seconds;
    return Step::End;
}

bool Session::resign(Obstacle obstacle, TaskEnd *end)
{
    if (!m_mayResign || !m_mayResign(obstacle))
        return false;
    end->kind = TaskEnd::Kind::NotTaken;
    return true;
}

// One of several may be connected itself.
bool Session::othersAreConnected() const
{
    return m_mayResign && m_link->connected() > 0;
}

void Session::warnOfRetry(const QString &what, double seconds)
{
    m_context.display.note(QStringLiteral("warning: %1. Trying again in %2 (%3 of %4).\n")
                               .arg(what, durationText(seconds), QString::number(m_attempts->failures),
                                    QString::number(m_context.settings.retries)));
}

// Nobody has a connection. The first that gets one may do the task.
Session::Step Session::waitAlone(double seconds, TaskEnd *end)
{
    double left = seconds;
    while (left > 0) {
        if (!m_context.interruption.wait(std::min(left, lookSeconds))) {
            end->kind = TaskEnd::Kind::Interrupted;
            return Step::End;
        }
        if (othersAreConnected())
            return defer(0, end);
        left -= lookSeconds;
    }
    return Step::Again;
}

// The server's host answers this one itself, always with an error type: the handler knows no such word.
bool Session::discard(const TaskJob &job, QString *why)
{
    if (!m_socket.isConnected()) {
        GreetingFailure failure;
        if (!connect(&failure)) {
            *why = failure.failure.what;
            return false;
        }
    }
    const ParamMap request = {
        {QStringLiteral("operator"), QStringLiteral("discard")},
        {QStringLiteral("appKey"), job.share},
        {QStringLiteral("rootPath"), job.rootPath},
        {QStringLiteral("destPath"), job.subPath},
        {QStringLiteral("fileName"), job.fileName},
        {QStringLiteral("userName"), job.userName},
    };
    setReceiveLimit(m_socket.id(), answerLimitMs);
    MessageChannel channel(m_socket.id());
    QString answer;
    if (!channel.send(number(MessageKind::TaskParam), VeskBase::serializeParam(request))
        || !channel.recv(number(MessageKind::TaskParamAck), answer)) {
        *why = QStringLiteral("the connection was lost");
        return false;
    }
    const QString errorType = VeskBase::unSerializeParam(answer).value(QStringLiteral("errorType"));
    if (errorType != ErrorType::discarded())
        *why = refusalFailure(job.shownName, job.share, errorType).what;
    return errorType == ErrorType::discarded();
}

void Session::takeConnection()
{
    m_wasConnected = true;
    m_isConnected = true;
    m_link->noteConnected();
}

void Session::closeConnection()
{
    m_socket.close();
    if (std::exchange(m_isConnected, false))
        m_link->noteDisconnected();
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
    closeConnection();
}

} // namespace VESK::Host
