#include "host/server/connection_status.h"

#include "host/text.h"

namespace VESK::Host
{

namespace
{

QString taskText(const ConnectionStatus &status)
{
    if (status.operation.isEmpty())
        return QStringLiteral("no task");
    QString text = QStringLiteral("%1 %2").arg(status.operation, escaped(status.path));
    if (status.received >= 0 && status.size >= 0)
        text += QStringLiteral(", %1 of %2").arg(bytesText(status.received), bytesText(status.size));
    return text;
}

} // namespace

QString statusText(const ConnectionStatus &status)
{
    const QString user = status.user.isEmpty() ? QStringLiteral("-") : escaped(status.user);
    QString text = QStringLiteral("%1 %2, for %3")
                       .arg(status.client, user, durationText(static_cast<double>(status.seconds)));
    if (status.roundTripMs >= 0)
        text += QStringLiteral(", round trip %1 ms").arg(status.roundTripMs, 0, 'f', 1);
    return text + QStringLiteral(": ") + taskText(status);
}

} // namespace VESK::Host
