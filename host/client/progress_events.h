#pragma once

#include "host/run_progress.h"

#include <QtCore/QJsonObject>

namespace VESK::Host
{

/// A moment of a run as the fields of an event; sizes in bytes, what is not known is left out.
QJsonObject progressFields(const RunProgress &run);

/// Writes the event "progress" to stdout. Any thread.
void writeProgressEvent(const RunProgress &run);

} // namespace VESK::Host
