#pragma once

#include "host/client/downloader.h"
#include "host/client/interruption.h"
#include "host/client/uploader.h"
#include "host/demo/child_process.h"

#include <QtCore/QTemporaryDir>

#include <memory>

namespace VESK::Host
{

/// The proof that it works: a server, an upload that is killed, its resumption and a second pass, then
/// the same for a download, all on this machine in a temporary directory that is removed at the end. Tells
/// what happens on stdout.
class Demo
{
public:
    /// `modulePath` is what was asked for on the command line, for the children.
    Demo(const Module &module, const QString &modulePath, qint64 size, Interruption &interruption);
    ~Demo();
    Demo(const Demo &) = delete;
    Demo &operator=(const Demo &) = delete;

    /// Runs every step until one fails; true when all held.
    [[nodiscard]] bool run();

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
    bool compareWith(const QString &copy, const QString &original);

    RemoteAddress share() const;
    TransferSummary uploadHere();
    TransferSummary downloadHere();
    ClientSettings clientSettings() const;
    QString tokenFile() const;
    QString targetPath() const;
    QString downloadDirectory() const;
    QString downloadedPath() const;
    void tell(const QString &line);
    bool fail(const QString &why);

    const Module &m_module;
    const QString m_modulePath;
    const qint64 m_size; // bytes
    Interruption &m_interruption;
    QTemporaryDir m_directory;
    QString m_source;
    QString m_shareDirectory;
    std::unique_ptr<ChildProcess> m_server;
    quint16 m_port = 0;
    int m_step = 0;
};

} // namespace VESK::Host
