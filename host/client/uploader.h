#pragma once

#include "host/client/name_spool.h"
#include "host/client/transfer_run.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

/// Sends files and directories to one directory of a server. For one thread; an interruption may come
/// from any.
class Uploader
{
public:
    enum class Directories { Refuse, Send };

    Uploader(const ClientContext &context, const RemoteAddress &target);

    /// Uploads what the paths name, telling each failure on stderr as it happens. After an interruption
    /// the rest is left alone, and the exit code says so.
    TransferSummary upload(const QStringList &paths, Directories directories);

private:
    void uploadPath(const QString &path, Directories directories);
    void uploadTree(const QString &top);
    [[nodiscard]] bool collect(const QString &top);
    void uploadEntry(const NameSpool::Entry &entry, const QString &top, const QString &prefix);
    void uploadFile(const QString &path, TaskJob job);
    void makeDirectory(TaskJob job);
    TaskJob newJob() const;

    const ClientContext m_context;
    const RemoteAddress m_target;
    TransferRun m_run;
    NameSpool m_spool;
    qint64 m_count = 0; // entries of the tree in hand that were dealt with
};

} // namespace VESK::Host
