#include "tests/torture/failing_handler.h"

namespace VESK::Test
{

FailingHandler::FailingHandler(int failingCall)
    : m_failingCall(failingCall)
{
}

bool FailingHandler::failsNow(const QString &call)
{
    if (++m_calls != m_failingCall)
        return false;
    m_failedCall = call;
    return true;
}

bool FailingHandler::setParam(const QString &key, const QString &value)
{
    return !failsNow("setParam " + key) && VeskHandler2_0_0::setParam(key, value);
}

bool FailingHandler::setParams(const ParamMap &map)
{
    return !failsNow("setParams") && VeskHandler2_0_0::setParams(map);
}

bool FailingHandler::getParams(ParamMap &map)
{
    return !failsNow("getParams") && VeskHandler2_0_0::getParams(map);
}

bool FailingHandler::getParams(const QStringList &keys, ParamMap &map)
{
    return !failsNow("getParams") && VeskHandler2_0_0::getParams(keys, map);
}

bool FailingHandler::send(int kind, const QString &text)
{
    return !failsNow("send " + QString::number(kind)) && VeskHandler2_0_0::send(kind, text);
}

bool FailingHandler::recv(int kind, QString &text)
{
    return !failsNow("recv " + QString::number(kind)) && VeskHandler2_0_0::recv(kind, text);
}

bool FailingHandler::setParamInner(const QString &key, const QString &value)
{
    return !failsNow("setParamInner " + key) && VeskHandler2_0_0::setParamInner(key, value);
}

QString FailingHandler::getFileVerifyValue(const QString &path, const QString &mode)
{
    return failsNow("getFileVerifyValue " + path) ? QString()
                                                  : VeskHandler2_0_0::getFileVerifyValue(path, mode);
}

QString FailingHandler::generateTmpFilePath(const QString &path)
{
    return failsNow("generateTmpFilePath") ? QString() : VeskHandler2_0_0::generateTmpFilePath(path);
}

} // namespace VESK::Test
