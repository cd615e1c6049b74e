#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/param_keys.h"

#include <QtCore/QDateTime>
#include <QtCore/QMutexLocker>

#include <udt/udt.h>

namespace VESK
{

QString VeskHandler2_0_0::getKey()
{
    const QString protocol = getParamInner(Key::protocol); // named, so that it is asked for first
    return protocol + QLatin1Char('-') + getParamInner(Key::version);
}

QString VeskHandler2_0_0::getLastError()
{
    return getParamInner(Key::errorStr);
}

QString VeskHandler2_0_0::getStatus()
{
    const QMutexLocker lock(&m_mutex);
    return m_status;
}

void VeskHandler2_0_0::setStatus(const QString &status)
{
    const QMutexLocker lock(&m_mutex);
    m_status = status;
}

void VeskHandler2_0_0::transfer()
{
    setParam(Key::endTime, QString::number(QDateTime::currentMSecsSinceEpoch()));
}

bool VeskHandler2_0_0::pause()
{
    return stop(Word::pause);
}

bool VeskHandler2_0_0::cancel()
{
    return stop(Word::cancel);
}

bool VeskHandler2_0_0::stop(QLatin1String word)
{
    const QMutexLocker lock(&m_mutex);
    m_status = word;
    requestStop();

    const QString endPoint = getParam(Key::endPoint);
    (void)getParam(Key::operation); // every operation is stopped in one way; derived classes see the question
    const int socket = getParam(endPoint + Key::socketSuffix, QLatin1String("-1")).toInt();
    if (socket == -1) {
        log(QLatin1String("error"), QString::fromLatin1("%1: localSocket get failed.").arg(word));
        return false;
    }
    // A server has no one else to wake its bulk call; on the client the socket is for the host to close.
    if (endPoint == Word::server)
        (void)UDT::close(socket); // closed already, or no socket at all: either way nothing is left to stop
    return true;
}

} // namespace VESK
