#include "host/event_writer.h"

#include "host/text.h"
#include "host/version.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

namespace VESK::Host
{

namespace
{

bool areWanted = false; // written before the first thread exists

} // namespace

void wantEvents()
{
    areWanted = true;
}

bool eventsAreWanted()
{
    return areWanted;
}

QByteArray eventLine(const QString &event, QJsonObject fields)
{
    fields.insert(QStringLiteral("v"), 1);
    fields.insert(QStringLiteral("event"), event);
    return QJsonDocument(fields).toJson(QJsonDocument::Compact) + '\n';
}

void writeEventLine(const QString &event, QJsonObject fields)
{
    writeStdout(QString::fromUtf8(eventLine(event, std::move(fields))));
}

void writeStartEvent(const QString &verb)
{
    writeEventLine(QStringLiteral("start"),
                   {{QStringLiteral("verb"), verb},
                    {QStringLiteral("version"), programVersion()},
                    {QStringLiteral("time"), eventTime()}});
}

void writeFailureEvents(const Failure &failure)
{
    writeEventLine(QStringLiteral("error"), errorFields(failure, QString()));
    writeEventLine(QStringLiteral("summary"), {{QStringLiteral("exitCode"), number(failure.code)}});
}

int tellFailure(const Failure &failure)
{
    if (eventsAreWanted())
        writeFailureEvents(failure);
    writeStderr(failureText(failure));
    return number(failure.code);
}

QJsonObject errorFields(const Failure &failure, const QString &name)
{
    QJsonObject fields = {{QStringLiteral("class"), number(failure.code)},
                          {QStringLiteral("what"), failure.what},
                          {QStringLiteral("hints"), QJsonArray::fromStringList(failure.hints)}};
    if (!failure.reason.isEmpty())
        fields.insert(QStringLiteral("reason"), failure.reason);
    if (!name.isEmpty())
        fields.insert(QStringLiteral("name"), name);
    return fields;
}

QString eventTime()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

} // namespace VESK::Host
