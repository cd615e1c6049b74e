#pragma once

#include "vesk_base/export.h"
#include "vesk_base/file_state.h"

#include <QtCore/QString>

#include <memory>
#include <optional>

namespace VESK
{

/// Keeps verification values from one task to the next, so that a file that has not changed need not be read
/// again. A host implements one and installs it with `setVerifyCache`; the base decides when a value may be
/// kept and when it holds.
///
/// Called on task threads, several at once, with no lock of a handler or of the base held. Nothing may be
/// thrown; what goes wrong is the cache's own affair and looks like an empty cache.
class VESK_BASE_EXPORT VerifyCache
{
public:
    VerifyCache() = default;
    virtual ~VerifyCache();
    VerifyCache(const VerifyCache &) = delete;
    VerifyCache &operator=(const VerifyCache &) = delete;

    /// The value kept for exactly this state and algorithm (see `verifyAlgorithm`), or an empty text.
    virtual QString find(const FileState &state, const QString &algorithm) = 0;

    /// Keeps a value. An earlier one of the same file and algorithm is of no use any more.
    virtual void store(const FileState &state, const QString &algorithm, const QString &value) = 0;

    /// Drops what was kept for a file and an algorithm, whatever its state was then.
    virtual void forget(const FileState &state, const QString &algorithm) = 0;
};

/// Replaces the cache of the process; null for none, as at the start. Callable from any thread. Tasks that
/// are asking the old one finish doing so, and the last of them may be the one to destroy it.
VESK_BASE_EXPORT void setVerifyCache(std::shared_ptr<VerifyCache> cache);

/// Verification values for one task, through the cache of the process when there is one. Partial files are
/// always read. For the task thread.
class VESK_BASE_EXPORT TaskValues
{
public:
    /// As `fileVerifyValue`. The file is remembered for the calls below.
    QString valueOf(const QString &path, const QString &mode);

    /// Does `path` lead to the file that `valueOf` was asked for last, and are its contents as they were? Its
    /// name and mode may have changed. False also when there is no cache.
    bool isUnchanged(const QString &path) const;

    /// Keeps the last value for the file at `path`: the same one, whose time alone may have been set since
    /// `isUnchanged` was true. Keeps nothing when a later change might not show.
    void keepFor(const QString &path);

    /// Drops the last value, since the peer found that the file is not so.
    void forget();

private:
    struct Known {
        FileState state;
        QString algorithm;
        QString value;
    };
    std::optional<Known> m_last;
};

} // namespace VESK
