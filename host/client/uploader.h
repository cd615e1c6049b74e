#pragma once

#include "host/client/name_spool.h"
#include "host/client/selection.h"
#include "host/client/transfer_run.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

/// Sends files and directories to one directory of a server. For one thread; an interruption may come
/// from any.
class Uploader
{
public:
    Uploader(const ClientContext &context, const RemoteAddress &target, const Selection &selection = {});

    /// Uploads what the paths name, telling each failure on stderr as it happens. With a list of names,
    /// those below the one path, or the working directory without any. After an interruption the rest is
    /// left alone, and the exit code says so.
    TransferSummary upload(const QStringList &paths);

private:
    struct Tree {
        QString top; ///< absolute
        QString prefix; ///< of its entries' paths at the target; empty for none
    };

    void uploadPath(const QString &path);
    void uploadNames(const QString &directory);
    void uploadTree(const Tree &tree);
    [[nodiscard]] bool collect(const Tree &tree);
    void uploadEntry(const NameSpool::Entry &entry, const Tree &tree);
    void uploadFile(const QString &path, TaskJob job);
    void makeDirectory(TaskJob job);
    TaskJob newJob() const;

    const ClientContext m_context;
    const RemoteAddress m_target;
    const Selection m_selection;
    TransferRun m_run;
    NameSpool m_spool;
    int m_treesLeft = 0; // directories whose files are not known yet
};

} // namespace VESK::Host
