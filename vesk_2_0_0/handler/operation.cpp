#include "vesk_2_0_0/handler/operation.h"

#include "vesk_2_0_0/handler/param_keys.h"

namespace VESK
{

Operation::Operation(VeskHandler2_0_0 &handler, const char *name)
    : m_handler(handler)
    , m_name(QString::fromLatin1(name))
{
}

Operation::Operation(VeskHandler2_0_0 &handler, const QString &name)
    : m_handler(handler)
    , m_name(name)
{
}

QString Operation::param(QLatin1String key, QLatin1String defaultValue) const
{
    return m_handler.getParam(key, defaultValue);
}

void Operation::checkStatus() const
{
    const QString status = m_handler.getStatus();
    if (status.isEmpty())
        return;
    m_handler.setParamInner(Key::errorStr, status);
    throw QString(Word::status);
}

} // namespace VESK
