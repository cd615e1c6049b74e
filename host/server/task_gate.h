#pragma once

#include "host/server/running_uploads.h"
#include "host/server/share.h"

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
        QString user; ///< who said hello; empty when nobody did
        std::function<void()> pause; ///< stops the task; any thread
    };

    /// `share` is the one that the task names; null when there is none of that name.
    TaskGate(const Share *share, RunningUploads &uploads, Client client);
    ~TaskGate();
    TaskGate(const TaskGate &) = delete;
    TaskGate &operator=(const TaskGate &) = delete;

    /// The error type with which the task is refused; empty to accept.
    QString judge(const ParamMap &taskParam);

    /// Did a description of a task come in that could be read?
    bool wasAsked() const { return m_wasAsked; }

private:
    QString judgeClaims(const ParamMap &taskParam) const;
    QString judgeUpload(const ParamMap &taskParam);
    QString judgeDownload(const ParamMap &taskParam) const;
    QString discardPartial(const ParamMap &taskParam);

    const Share *const m_share;
    RunningUploads &m_uploads;
    const Client m_client;
    bool m_wasAsked = false;
    QString m_reserved; // the target entered into m_uploads
};

} // namespace VESK::Host
