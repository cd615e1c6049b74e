#include "tests/races/racing_handler.h"

namespace VESK::Test
{

RacingHandler::RacingHandler(int releasingCall)
    : m_releasingCall(releasingCall)
    , m_released(releasingCall == 0)
{
}

bool RacingHandler::waitForCall(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_change.wait_for(lock, limit, [this] { return m_released; });
}

void RacingHandler::count()
{
    if (m_processing && ++m_calls == m_releasingCall)
        release();
}

void RacingHandler::release()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_released = true;
    m_change.notify_all();
}

bool RacingHandler::process()
{
    m_processing = true;
    const bool result = VeskHandler2_0_0::process();
    m_processing = false;
    if (m_releasingCall != never)
        release();
    return result;
}

bool RacingHandler::setParam(const QString &key, const QString &value)
{
    count();
    return VeskHandler2_0_0::setParam(key, value);
}

bool RacingHandler::setParams(const ParamMap &map)
{
    count();
    return VeskHandler2_0_0::setParams(map);
}

QString RacingHandler::getParam(const QString &key, const QString &defaultValue)
{
    count();
    return VeskHandler2_0_0::getParam(key, defaultValue);
}

bool RacingHandler::getParams(const QStringList &keys, ParamMap &map)
{
    count();
    return VeskHandler2_0_0::getParams(keys, map);
}

bool RacingHandler::send(int kind, const QString &text)
{
    count();
    return VeskHandler2_0_0::send(kind, text);
}

bool RacingHandler::recv(int kind, QString &text)
{
    count();
    return VeskHandler2_0_0::recv(kind, text);
}

void RacingHandler::log(const QString &level, const QString &message)
{
    count();
    VeskHandler2_0_0::log(level, message);
}

bool RacingHandler::setParamInner(const QString &key, const QString &value)
{
    count();
    return VeskHandler2_0_0::setParamInner(key, value);
}

QString RacingHandler::getFileVerifyValue(const QString &path, const QString &mode)
{
    count();
    return VeskHandler2_0_0::getFileVerifyValue(path, mode);
}

} // namespace VESK::Test
