#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace VESK::Host
{

/// Writes one event to stdout: a line of JSON with "v" (1, the version of this form), "event" and the
/// fields.
void writeEventLine(const QString &event, QJsonObject fields);

} // namespace VESK::Host
