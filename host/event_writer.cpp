#include "host/event_writer.h"

#include "host/text.h"

#include <QtCore/QJsonDocument>

namespace VESK::Host
{

void writeEventLine(const QString &event, QJsonObject fields)
{
    fields.insert(QStringLiteral("v"), 1);
    fields.insert(QStringLiteral("event"), event);
    writeStdout(QString::fromUtf8(QJsonDocument(fields).toJson(QJsonDocument::Compact)) + QLatin1Char('\n'));
}

} // namespace VESK::Host
