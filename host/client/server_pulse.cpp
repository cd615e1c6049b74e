#include "host/client/server_pulse.h"

namespace VESK::Host
{

namespace
{

// Between two questions; more often where patience is short, so that no few lost packets make a silence.
constexpr qint64 askEveryMs = 1000;
constexpr qint64 questionsInPatience = 10;
// A call that comes later than this after the one before follows a sleep of the whole process, or a time
// without tasks.
constexpr qint64 gapMs = 2000;

} // namespace

bool ServerPulse::isSilent(UDTSOCKET connection, const SocketAddress &server, qint64 nowMs, qint64 patienceMs)
{
    turnTo(connection, server, nowMs);
    if (nowMs - m_lastCallMs > gapMs)
        m_lastAnswerMs += nowMs - m_lastCallMs;
    m_lastCallMs = nowMs;
    if (m_probe->isAnswered()) {
        m_hasAnswered = true;
        m_lastAnswerMs = nowMs;
    }
    const qint64 pauseMs = qMin(askEveryMs, patienceMs / questionsInPatience);
    if (m_lastQuestionMs < 0 || nowMs - m_lastQuestionMs >= pauseMs) {
        m_probe->ask();
        m_lastQuestionMs = nowMs;
    }
    return m_hasAnswered && nowMs - m_lastAnswerMs >= patienceMs;
}

// Whoever accepts a connection is alive.
void ServerPulse::turnTo(UDTSOCKET connection, const SocketAddress &server, qint64 nowMs)
{
    if (m_probe && connection == m_connection)
        return;
    m_connection = connection;
    m_probe = std::make_unique<PortProbe>(server); // what the one before was told is of the past
    m_lastQuestionMs = -1;
    m_lastAnswerMs = nowMs;
    m_lastCallMs = nowMs;
    if (server.text() == m_server.text())
        return;
    m_server = server;
    m_hasAnswered = false;
}

int ServerPulse::refusal()
{
    m_probe->knock();
    return m_probe->isRefused(0) ? m_probe->systemError() : 0;
}

} // namespace VESK::Host
