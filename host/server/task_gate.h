#pragma once

#include "host/server/running_uploads.h"
#include "host/server/server_settings.h"

#include "vesk_base/param_map.h"

#include <functional>

namespace VESK::Host
{

/// Decides on one task of a connection before the handler takes it up, and keeps its target reserved
/// until the gate is destroyed. For the task's thread; destroyed before the task's handler.
class TaskGate
{
public:
    struct Client {
        UDTSOCKET socket = UDT::INVALID_SOCK;
        SocketAddress address;
        std::function<void()> pause; ///< stops the task; any thread
    };

    TaskGate(const ServerSettings &settings, RunningUploads &uploads, Client client);
    ~TaskGate();
    TaskGate(const TaskGate &) = delete;
    TaskGate &operator=(const TaskGate &) = delete;

    /// The error type with which the task is refused; empty to accept.
    QString judge(const ParamMap &taskParam);

    /// Did a description of a task come in that could be read?
    bool wasAsked() const { return m_wasAsked; }

private:
    QString judgeUpload(const ParamMap &taskParam);

    const ServerSettings &m_settings;
    RunningUploads &m_uploads;
    const Client m_client;
    bool m_wasAsked = false;
    QString m_reserved; // the target entered into m_uploads
};

} // namespace VESK::Host
