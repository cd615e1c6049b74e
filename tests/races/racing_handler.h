#pragma once

#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace VESK::Test
{

/// A handler that counts its calls to the base and lets another thread go at one of them, without waiting
/// for it: what that thread does then races with the task from that call on.
class RacingHandler : public VeskHandler2_0_0
{
public:
    static constexpr int never = -1;

    /// `releasingCall` counts from 1; 0 lets the other thread go at once.
    explicit RacingHandler(int releasingCall = never);

    /// For the other thread: waits until the task makes the call, or ends before it. False after `limit`.
    [[nodiscard]] bool waitForCall(std::chrono::milliseconds limit);

    /// The number of calls so far.
    int calls() const { return m_calls; }

    bool process() override;

    bool setParam(const QString &key, const QString &value) override;
    bool setParams(const ParamMap &map) override;
    QString getParam(const QString &key, const QString &defaultValue = QString()) override;
    bool getParams(const QStringList &keys, ParamMap &map) override;
    using VeskHandler2_0_0::getParams;
    bool send(int kind, const QString &text) override;
    bool recv(int kind, QString &text) override;
    void log(const QString &level, const QString &message) override;
    bool setParamInner(const QString &key, const QString &value) override;
    QString getFileVerifyValue(const QString &path, const QString &mode) override;

private:
    void count();
    void release();

    const int m_releasingCall;
    std::atomic<bool> m_processing{false}; // before, the calls are the host's
    std::atomic<int> m_calls{0};

    std::mutex m_mutex; // guards m_released
    std::condition_variable m_change;
    bool m_released;
};

} // namespace VESK::Test
