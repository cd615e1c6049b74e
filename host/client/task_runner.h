#pragma once

#include "host/client/interruption.h"
#include "host/client/task_job.h"
#include "host/client/task_monitor.h"
#include "transport/udt_socket.h"

#include "vesk_base/module.h"

namespace VESK::Host
{

/// Runs one task on the calling thread, over a connected socket that stays the caller's (a stop closes
/// it, though).
class TaskRunner
{
public:
    TaskRunner(const Module &module, ProgressDisplay &display, Interruption &interruption,
               double stallSeconds);

    TaskOutcome run(const TaskJob &job, UDTSOCKET socket);

private:
    const Module &m_module;
    ProgressDisplay &m_display;
    Interruption &m_interruption;
    const double m_stallSeconds;
};

} // namespace VESK::Host
