#pragma once

#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

namespace VESK::Test
{

/// A handler whose n-th call to the base fails: it has no effect and gives what the base gives on failure.
///
/// Calls count from 1, from construction on, whatever they are; `getParam` is left out, since it cannot fail.
class FailingHandler : public VeskHandler2_0_0
{
public:
    explicit FailingHandler(int failingCall);

    /// Which call failed, with its kind, key or path, as in "send 5" or "setParam endTime"; empty when there
    /// were fewer calls.
    QString failedCall() const { return m_failedCall; }

    bool setParam(const QString &key, const QString &value) override;
    bool setParams(const ParamMap &map) override;
    bool getParams(ParamMap &map) override;
    bool getParams(const QStringList &keys, ParamMap &map) override;
    bool send(int kind, const QString &text) override;
    bool recv(int kind, QString &text) override;
    bool setParamInner(const QString &key, const QString &value) override;
    QString getFileVerifyValue(const QString &path, const QString &mode) override;
    QString generateTmpFilePath(const QString &path) override;

private:
    bool failsNow(const QString &call);

    const int m_failingCall;
    int m_calls = 0;
    QString m_failedCall;
};

} // namespace VESK::Test
