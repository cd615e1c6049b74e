#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <map>
#include <mutex>
#include <utility>

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

    void addConnection();
    /// `repeatedPackets`: those that the server's end sent again; -1: not known.
    void endConnection(qint64 repeatedPackets);
    void addTask(const TaskEnd &end);
    /// `errorType`: the word that the client was told.
    void addRefusal(const QString &errorType);

    /// Everything in the text format of Prometheus.
    QByteArray text() const;

private:
    mutable std::mutex m_mutex; // guards the rest
    qint64 m_connections = 0; // that stand
    qint64 m_connectionsEver = 0;
    qint64 m_repeatedPackets = 0;
    std::map<std::pair<QString, bool>, qint64> m_tasks; // by operation and success
    std::map<QString, qint64> m_bytes; // by operation
    std::map<QString, qint64> m_refusals; // by error type
    double m_roundTripSeconds = 0; // sum
    qint64 m_roundTrips = 0;
};

} // namespace VESK::Host
