#pragma once

#include "host/address.h"
#include "host/client/interruption.h"
#include "host/progress_display.h"
#include "transport/udt_socket.h"

#include "vesk_base/module.h"

namespace VESK::Host
{

/// What the verbs of the client share of their options.
struct ClientSettings {
    AddressFamily family = AddressFamily::Any;
    TransportOptions transport;
    QString verifyMode = QStringLiteral("xxh128"); ///< as the handler takes it
    int retries = 10; ///< new connections after one that was lost, per task
    double stallSeconds = 30;
    bool namesEachFile = false; ///< a line for every file, not only for failures
    bool writesEvents = false; ///< events on stdout; see event_writer.h
};

/// What a run of the client works with; all of it outlives the run.
struct ClientContext {
    const Module &module;
    const ClientSettings &settings;
    ProgressDisplay &display;
    Interruption &interruption;
};

} // namespace VESK::Host
