#pragma once

#include "host/address.h"
#include "host/client/upload_summary.h"
#include "host/client/upload_task.h"
#include "host/connection/connector.h"
#include "host/errors.h"

#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

namespace VESK::Host
{

/// How uploads are made.
struct UploadSettings {
    RemoteAddress remote; ///< its port is set
    AddressFamily family = AddressFamily::Any;
    TransportOptions transport;
    QString userName;
    QString verifyMode = QStringLiteral("xxh128"); ///< as the handler takes it
    int retries = 10; ///< new connections after one that was lost, per file
    double stallSeconds = 30;
    bool namesEachFile = false; ///< a line for every file, not only for failures
    bool writesEvents = false; ///< events on stdout; see event_writer.h
};

/// Sends files one after another over one connection, and makes a new one when it is lost. For one
/// thread; an interruption may come from any.
class Uploader
{
public:
    Uploader(const Module &module, const UploadSettings &settings, ProgressDisplay &display,
             Interruption &interruption);

    /// Uploads the files, telling each failure on stderr as it happens. After an interruption the rest is
    /// left alone, and the exit code says so.
    UploadSummary upload(const QStringList &paths);

private:
    enum class Step { Done, Again, GiveUp };

    struct Attempts {
        int failures = 0; ///< lost connections since bytes last moved
        int withoutProgress = 0; ///< tasks in a row that moved nothing though the server was reached
        bool verifyFailed = false; ///< once already
    };

    void uploadOne(const UploadJob &job);
    bool ensureConnected(const UploadJob &job, Attempts *attempts);
    Step settle(const UploadJob &job, const UploadOutcome &outcome, Attempts *attempts);
    Step settlePlaced(const UploadJob &job, const UploadOutcome &outcome);
    Step settleVerifyFailure(const UploadJob &job, Attempts *attempts);
    Step settleLoss(const UploadJob &job, const UploadOutcome &outcome, Attempts *attempts);
    Step fail(const Failure &failure);
    bool waitBeforeRetry(const QString &what, Attempts *attempts);
    void finishConnection();
    void tell(const QString &line);
    void writeEvent(const QString &event, const QJsonObject &fields) const;

    const UploadSettings m_settings;
    ProgressDisplay &m_display;
    Interruption &m_interruption;
    Connector m_connector;
    UploadTask m_task;
    UdtSocket m_socket;
    bool m_wasConnected = false;
    bool m_isHopeless = false; // the server was never reached: further files need not try
    UploadSummary m_summary;
    qint64 m_sentBytesOfFile = 0; // by this run's attempts, failed ones included
    qint64 m_firstBegin = -1; // where the first of these attempts began; -1 before one did
};

} // namespace VESK::Host
