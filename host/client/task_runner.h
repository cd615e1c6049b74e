#pragma once

#include "host/client/client_context.h"
#include "host/client/task_job.h"
#include "host/client/task_monitor.h"
#include "transport/udt_socket.h"

namespace VESK::Host
{

/// Runs one task on the calling thread, over a connected socket that stays the caller's (a stop closes
/// it, though).
class TaskRunner
{
public:
    explicit TaskRunner(const ClientContext &context);

    TaskOutcome run(const TaskJob &job, UDTSOCKET socket);

private:
    const ClientContext m_context;
    TaskMonitor m_monitor;
};

} // namespace VESK::Host
