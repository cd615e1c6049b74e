#pragma once

#include "vesk_base/verify_cache.h"

#include <QtCore/QString>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>

namespace VESK::Host
{

class VerifyDatabase;

/// Verification values in an SQLite file, which several processes may use at once. New values are written
/// some at a time; what a killed process had not written yet is computed again.
///
/// Nothing here fails a task: a file that cannot be used, or no longer, is told once and does as an empty
/// cache. Any thread.
class SqliteVerifyCache : public VerifyCache
{
public:
    using Warn = std::function<void(const QString &sentence)>;

    static constexpr qint64 defaultSizeLimit = 256 << 20; // bytes; some two million values

    /// The file at `path` is opened when it is first needed, and made, with its directory, when missing.
    /// Beyond `sizeLimit` bytes the values that were of no use for longest go.
    SqliteVerifyCache(const QString &path, Warn warn, qint64 sizeLimit = defaultSizeLimit);
    /// Writes what has not been written.
    ~SqliteVerifyCache() override;

    QString find(const FileState &state, const QString &algorithm) override;
    void store(const FileState &state, const QString &algorithm, const QString &value) override;
    void forget(const FileState &state, const QString &algorithm) override;

private:
    using Key = std::tuple<quint64, quint64, QString>; // device, inode, algorithm
    struct Value {
        FileState state;
        QString value; // empty: to be dropped
    };
    struct Pending {
        std::map<Key, Value> values;
        qint64 sinceMs = 0; // when the first of them came
    };

    bool isOpen();
    void put(const FileState &state, const QString &algorithm, const QString &value);
    void keep(const FileState &state, const QString &algorithm, const QString &value);
    void write();
    void giveUp(const QString &why);

    const QString m_path;
    const Warn m_warn;
    const qint64 m_sizeLimit;

    std::mutex m_mutex; // guards the rest
    bool m_wasOpened = false;
    std::unique_ptr<VerifyDatabase> m_database; // null before it is needed and when it cannot be used
    Pending m_pending;
};

} // namespace VESK::Host
