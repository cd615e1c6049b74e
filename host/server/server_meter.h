#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

namespace VESK::Host
{

/// Counts what a server does, from its start on. Any thread.
class ServerMeter
{
public:
    /// A task that the server accepted has ended.
    struct TaskEnd {
        QString operation; ///< "upload", "download", "list", "createDir"
        bool succeeded = false;
        qint64 bytes = 0; ///< moved by it
        double roundTripMs = -1; ///< of its connection; -1: not known
    };

    ServerMeter();

    void addConnection();
    /// `repeatedPackets`: those that the server's end sent again; -1: not known.
    void endConnection(qint64 repeatedPackets);
    void addTask(const TaskEnd &end);
    /// `errorType`: the word that the client was told.
    void addRefusal(const QString &errorType);

    /// Everything in the text format of Prometheus.
    QByteArray text() const;

private:
    using CounterFamily = prometheus::Family<prometheus::Counter>;

    prometheus::Counter &tasks(const std::string &operation, bool succeeded);
    prometheus::Counter &movedBytes(const std::string &operation);

    prometheus::Registry m_registry; // owns the rest, which may be used from any thread
    prometheus::Gauge &m_connections; // that stand
    prometheus::Counter &m_connectionsEver;
    CounterFamily &m_tasks; // by operation and result
    CounterFamily &m_movedBytes; // by operation
    CounterFamily &m_refusals; // by error type
    prometheus::Counter &m_repeatedPackets;
    prometheus::Histogram &m_roundTrips; // seconds
};

} // namespace VESK::Host
