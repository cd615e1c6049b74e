#pragma once

#include "vesk_base/vesk_base.h"

#include <QtCore/QMutex>
#include <QtCore/QString>

#include <fstream>
#include <memory>

class QFile;

namespace VESK
{

/// Handler of version "2.0.0" of the "VESK" task protocol: one upload, download, listing or directory
/// creation, on the client or the server end of a connection.
///
/// Life: the host gets a handler from the module's `create`, sets its parameters (docs/embedding.md),
/// calls `process` once on a thread of its own, reads parameters and `getLastError`, and hands it back to
/// `destroy`. Meanwhile another thread may call `pause`, `cancel`, `getStatus` and `setStatus`.
class VeskHandler2_0_0 : public VeskBase
{
    Q_OBJECT

public:
    VeskHandler2_0_0();
    ~VeskHandler2_0_0() override;

    /// "VESK-2.0.0".
    QString getKey() override;
    /// Why the task failed: "pause", "cancel", "return", the server's error type, or empty.
    QString getLastError() override;

    /// Runs the task; true when it succeeded. Nothing is thrown. The socket stays the host's.
    bool process() override;
    /// Ends the task as soon as possible, keeping the temporary file. On the server end the task's socket
    /// is closed; on the client end a bulk transfer goes on until the host closes its socket. False when
    /// the task has no socket; it ends all the same.
    bool pause() override;
    /// Like `pause`, but `process` removes the temporary file.
    bool cancel() override;

    bool request() override;
    bool uploadRequest() override;
    bool downloadRequest() override;
    bool listRequest() override;
    bool createDirRequest() override;
    bool respond() override;
    bool uploadRespond() override;
    bool downloadRespond() override;
    bool listRespond() override;
    bool createDirRespond() override;

    /// Empty while the task runs normally, "pause" or "cancel" after those calls. Any thread.
    QString getStatus();
    void setStatus(const QString &status);

    /// The file being sent or received; null outside a bulk transfer. The handler owns it.
    std::fstream *getStream();
    /// Replaces the stream; the old one is not deleted.
    void setStream(std::fstream *stream);
    /// Opens `path` as the task's stream: for reading when bit 0 of `mode` is set, otherwise for appending
    /// (a missing file is created). False, after a log line, when that fails. Pair with `destroyStream`.
    bool createStream(const QString &path, unsigned int mode);
    /// Closes and deletes the stream, if there is one. Always true.
    bool destroyStream();

    /// Gives the file the modification time `mtime`, in seconds since 1970, and keeps its access time. 0 and
    /// -1 stand for "unknown" and change nothing. `name` is the operation that the log lines name.
    void UpdateMtime(const QString &path, const QString &name, qint64 mtime);
    /// The directory registered for an application in the `appPath` table, or empty.
    QString getAppPath(const QString &app);
    /// Records the end of the task under `endTime`, in milliseconds since 1970.
    void transfer();

private:
    bool runTask();
    bool runEndPoint(const QString &endPoint);
    bool conclude(bool succeeded);
    bool stop(QLatin1String word);

    QMutex m_mutex; // never held during a transfer
    std::fstream *m_stream = nullptr; // owned, under the mutex; deleted by destroyStream
    QString m_status; // under the mutex
    std::unique_ptr<QFile> m_opener; // under the mutex; lives inside createStream only
};

} // namespace VESK
