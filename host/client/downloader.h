#pragma once

#include "host/client/name_spool.h"
#include "host/client/selection.h"
#include "host/client/transfer_run.h"

#include <vector>

namespace VESK::Host
{

/// Fetches files and directories into one local directory. For one thread; an interruption may come from
/// any.
class Downloader
{
public:
    /// `directory` is made when it is missing.
    Downloader(const ClientContext &context, const QString &directory, const Selection &selection = {});

    /// Downloads what the sources name, telling each failure on stderr as it happens. With a list of
    /// names, the files of these names below the one source. After an interruption the rest is left alone,
    /// and the exit code says so.
    TransferSummary download(const std::vector<RemoteAddress> &sources);

private:
    void downloadNames(const RemoteAddress &source);
    void downloadFile(const RemoteAddress &source);
    void downloadTree(const RemoteAddress &source);
    bool list(const RemoteAddress &source, TaskEnd *end);
    bool takeBatch(const ParamMap &batch);
    void takeEntries(const RemoteAddress &source, const QString &top);
    void takeFile(const RemoteAddress &source, const QString &top, const QString &path);
    void run(const TaskJob &job);
    [[nodiscard]] bool makeDirectory(const QString &path);
    TaskJob newJob(const RemoteAddress &source) const;

    const ClientContext m_context;
    const QString m_directory; // absolute
    const Selection m_selection;
    TransferRun m_run;
    NameSpool m_spool;
    QString m_spoolError; // why the listing in hand cannot be taken to its end; empty while it can
    qint64 m_listed = 0; // names of the listing in hand, unfit ones included
    std::size_t m_treesLeft = 0; // sources whose files are not known yet
};

} // namespace VESK::Host
