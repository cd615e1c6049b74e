#pragma once

#include "host/client/downloader.h"
#include "host/client/interruption.h"
#include "host/client/uploader.h"
#include "host/demo/child_process.h"

#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>

#include <functional>
#include <memory>

namespace VESK::Host
{

/// The proof that it works: a server, an upload that is killed, its resumption and a second pass, then
/// the same for a download, all on this machine in a temporary directory that is removed at the end.
class Demo
{
public:
    /// A step that held.
    struct Step {
        int number = 0; ///< from 1
        QString name; ///< a word for programs
        QString text; ///< for people
        QJsonObject figures; ///< bytes and seconds of it
    };
    using Tell = std::function<void(const Step &)>;

    /// `modulePath` is what was asked for on the command line, for the children. `tell` is called by `run`.
    Demo(const Module &module, const QString &modulePath, qint64 size, Interruption &interruption, Tell tell);
    ~Demo();
    Demo(const Demo &) = delete;
    Demo &operator=(const Demo &) = delete;

    /// Runs every step until one fails; true when all held.
    [[nodiscard]] bool run();

    int stepsHeld() const { return m_step; }
    /// What did not hold, one sentence without a full stop; empty when all held.
    QString fault() const { return m_fault; }
    /// What the server has logged, when it still runs after a fault.
    QString serverLog() const;

private:
    bool prepare();
    bool startServer();
    bool killUploadHalfway();
    bool resumeUpload();
    bool repeatUpload();
    bool killDownloadHalfway();
    bool resumeDownload();

    bool killHalfway(const QStringList &arguments, const QString &target, const QString &what);
    bool tellResumed(const TransferSummary &summary, const QString &what, const QString &moved);
    bool compareWith(const QString &copy, const QString &original, const QString &what);

    RemoteAddress share() const;
    TransferSummary uploadHere();
    TransferSummary downloadHere();
    ClientSettings clientSettings() const;
    QString tokenFile() const;
    QString targetPath() const;
    QString downloadDirectory() const;
    QString downloadedPath() const;
    void tell(const QString &name, const QString &text, const QJsonObject &figures = {});
    bool fail(const QString &why);

    const Module &m_module;
    const QString m_modulePath;
    const qint64 m_size; // bytes
    Interruption &m_interruption;
    const Tell m_tell;
    QTemporaryDir m_directory;
    QString m_source;
    QString m_shareDirectory;
    std::unique_ptr<ChildProcess> m_server;
    quint16 m_port = 0;
    int m_step = 0;
    QString m_fault;
};

} // namespace VESK::Host
