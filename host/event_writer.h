#pragma once

#include "host/errors.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace VESK::Host
{

/// One event with its line end, as `writeEventLine` writes it; UTF-8.
QByteArray eventLine(const QString &event, QJsonObject fields);

/// Writes one event to stdout: a line of JSON with "v" (1, the version of this form), "event" and the
/// fields. Any thread.
void writeEventLine(const QString &event, QJsonObject fields);

/// The first event of a verb: its name, this program's version and the time.
void writeStartEvent(const QString &verb);

/// Says that stdout is to bear events; as soon as that is known, and before there are other threads.
void wantEvents();
/// Was that said?
bool eventsAreWanted();

/// The events of a verb that ends before it has begun: "error", and "summary" with the exit status alone.
void writeFailureEvents(const Failure &failure);

/// Tells a failure of a verb that ends before it has begun, to people and, where events are wanted, as
/// events. The exit status.
int tellFailure(const Failure &failure);

/// The fields of the event "error". `name` is that of the file or directory, empty when it is about none.
QJsonObject errorFields(const Failure &failure, const QString &name);

/// This moment in UTC, as in "2001-02-03T04:05:06.789Z".
QString eventTime();

} // namespace VESK::Host
