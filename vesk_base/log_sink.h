#pragma once

#include "vesk_base/export.h"

#include <QtCore/QString>

#include <functional>

namespace VESK
{

class VeskBase;

/// Receives every log line of every handler of the process: the handler, the level ("error", "warning",
/// "info" or "debug") and the message, both texts as the handler gave them.
///
/// Called on the thread that logs, possibly on several at once, and for some lines with that handler's
/// mutex held: a sink must not call the handler back, must not throw, and should be quick.
using LogSink = std::function<void(const VeskBase *handler, const QString &level, const QString &message)>;

/// Replaces the process-wide sink; an empty one sends lines to Qt's logging category "vesk.task" again.
/// Calls of the old sink that have begun may still be running when this returns.
VESK_BASE_EXPORT void setLogSink(LogSink sink);

/// Hands one line to the sink.
void writeLog(const VeskBase *handler, const QString &level, const QString &message);

} // namespace VESK
