#include "host/server/server_meter.h"

#include <prometheus/text_serializer.h>

#include <algorithm>

namespace VESK::Host
{

namespace
{

// From a machine beside this one to a satellite, and beyond that what queues add.
const prometheus::Histogram::BucketBoundaries roundTripSeconds = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05,
                                                                  0.1,   0.2,   0.5,   1,    2};

prometheus::Gauge &gauge(prometheus::Registry &registry, const char *name, const char *help)
{
    return prometheus::BuildGauge().Name(name).Help(help).Register(registry).Add({});
}

prometheus::Family<prometheus::Counter> &counters(prometheus::Registry &registry, const char *name,
                                                  const char *help)
{
    return prometheus::BuildCounter().Name(name).Help(help).Register(registry);
}

prometheus::Histogram &histogram(prometheus::Registry &registry, const char *name, const char *help,
                                 const prometheus::Histogram::BucketBoundaries &boundaries)
{
    return prometheus::BuildHistogram().Name(name).Help(help).Register(registry).Add({}, boundaries);
}

} // namespace

ServerMeter::ServerMeter()
    : m_connections(gauge(m_registry, "vesk_connections", "Connections that stand."))
    , m_connectionsEver(counters(m_registry, "vesk_connections_total", "Connections ever accepted.").Add({}))
    , m_tasks(counters(m_registry, "vesk_tasks_total", "Tasks that have ended."))
    , m_movedBytes(counters(m_registry, "vesk_moved_bytes_total", "Bytes of files that were moved."))
    , m_refusals(
          counters(m_registry, "vesk_refusals_total", "Requests that were refused, by the reason told."))
    , m_repeatedPackets(counters(m_registry, "vesk_repeated_packets_total",
                                 "Packets that this end sent again, of connections that have ended.")
                            .Add({}))
    , m_roundTrips(histogram(m_registry, "vesk_round_trip_seconds",
                             "Round trip of a task's connection at its end.", roundTripSeconds))
{
    // A counter that appears with its first event is 1 from its beginning, and no rate shows that event.
    for (const char *const operation : {"upload", "download", "list", "createDir"}) {
        (void)tasks(operation, true);
        (void)tasks(operation, false);
    }
    (void)movedBytes("upload");
    (void)movedBytes("download");
}

void ServerMeter::addConnection()
{
    m_connections.Increment();
    m_connectionsEver.Increment();
}

void ServerMeter::endConnection(qint64 repeatedPackets)
{
    m_connections.Decrement();
    m_repeatedPackets.Increment(static_cast<double>(std::max<qint64>(0, repeatedPackets)));
}

void ServerMeter::addTask(const TaskEnd &end)
{
    const std::string operation = end.operation.toStdString();
    tasks(operation, end.succeeded).Increment();
    if (end.bytes > 0)
        movedBytes(operation).Increment(static_cast<double>(end.bytes));
    if (end.roundTripMs >= 0)
        m_roundTrips.Observe(end.roundTripMs / 1000);
}

void ServerMeter::addRefusal(const QString &errorType)
{
    m_refusals.Add({{"reason", errorType.toStdString()}}).Increment();
}

QByteArray ServerMeter::text() const
{
    return QByteArray::fromStdString(prometheus::TextSerializer().Serialize(m_registry.Collect()));
}

prometheus::Counter &ServerMeter::tasks(const std::string &operation, bool succeeded)
{
    return m_tasks.Add({{"operation", operation}, {"result", succeeded ? "done" : "failed"}});
}

prometheus::Counter &ServerMeter::movedBytes(const std::string &operation)
{
    return m_movedBytes.Add({{"operation", operation}});
}

} // namespace VESK::Host
