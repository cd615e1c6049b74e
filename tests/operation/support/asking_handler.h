#pragma once

#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <QtCore/QStringList>

namespace VESK::Test
{

/// Writes down what an operation asks its base for, with the default in brackets, and what it does in
/// between.
class AskingHandler : public VeskHandler2_0_0
{
public:
    /// Forgets what the host did to set the task up.
    void begin() { m_calls.clear(); }
    QStringList calls() const { return m_calls; }

    QString getParam(const QString &key, const QString &defaultValue = QString()) override
    {
        m_calls << key + " [" + defaultValue + ']';
        return VeskHandler2_0_0::getParam(key, defaultValue);
    }
    bool getParams(ParamMap &map) override
    {
        m_calls << "everything";
        return VeskHandler2_0_0::getParams(map);
    }
    bool getParams(const QStringList &keys, ParamMap &map) override
    {
        m_calls << "all of " + keys.join(' ') + (map.isEmpty() ? "" : " for a map in use");
        return VeskHandler2_0_0::getParams(keys, map);
    }
    QString getParamInner(const QString &key, const QString &defaultValue = QString()) override
    {
        m_calls << key + " [" + defaultValue + ']';
        return VeskHandler2_0_0::getParamInner(key, defaultValue);
    }
    bool setParam(const QString &key, const QString &value) override
    {
        m_calls << "set " + key;
        return VeskHandler2_0_0::setParam(key, value);
    }
    bool setParamInner(const QString &key, const QString &value) override
    {
        m_calls << "set " + key;
        return VeskHandler2_0_0::setParamInner(key, value);
    }
    bool send(int kind, const QString &text) override
    {
        m_calls << "send " + QString::number(kind);
        return VeskHandler2_0_0::send(kind, text);
    }
    bool recv(int kind, QString &text) override
    {
        m_calls << "receive " + QString::number(kind);
        return VeskHandler2_0_0::recv(kind, text);
    }
    void log(const QString &level, const QString &message) override
    {
        m_calls << "log " + level;
        VeskHandler2_0_0::log(level, message);
    }
    QString getFileVerifyValue(const QString &path, const QString &mode) override
    {
        m_calls << "value by " + mode;
        return VeskHandler2_0_0::getFileVerifyValue(path, mode);
    }
    QString generateTmpFilePath(const QString &path) override
    {
        m_calls << "temporary path";
        return VeskHandler2_0_0::generateTmpFilePath(path);
    }

private:
    QStringList m_calls;
};

} // namespace VESK::Test
