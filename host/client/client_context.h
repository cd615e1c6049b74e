#pragma once

#include "host/address.h"
#include "host/client/interruption.h"
#include "host/progress_display.h"
#include "transport/udt_socket.h"

#include "vesk_base/module.h"

namespace VESK::Host
{

class RunMeter;

/// What is done with a file whose target exists.
enum class Existing {
    Update, ///< made equal to the source; nothing moves when it is equal
    Skip, ///< left alone, whatever it holds
    Fail, ///< left alone, and that is a failure
};

/// What the verbs of the client share of their options.
struct ClientSettings {
    AddressFamily family = AddressFamily::Any;
    TransportOptions transport;
    QString verifyMode = QStringLiteral("xxh128"); ///< as the handler takes it
    QString tokenFile; ///< of the server; empty: the usual places
    int retries = 10; ///< new connections after one that was lost, per task
    double retryWaitSeconds = 0.5; ///< before the first of them; doubled each time up to 30 s
    int connections = 0; ///< that work side by side; 0: as many as help
    Existing existing = Existing::Update;
    qint64 rateLimit = 0; ///< bytes per second over all connections; 0: none
    qint64 maxBytes = 0; ///< moved before the run is stopped; 0: no limit
    bool discardsWhenInterrupted = false; ///< what has arrived is not kept
    bool failsIfNothing = false; ///< when nothing was to be done
    double maxSeconds = 0; ///< before the run is stopped; 0: no limit
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
    RunMeter &meter;
};

} // namespace VESK::Host
