#pragma once

#include "vesk_base/file_state.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

namespace VESK::Host
{

/// The SQLite file of a cache of verification values. For one thread at a time.
class VerifyDatabase
{
public:
    /// Opens the file, and makes it when it is missing. Null, with the reason in `error`, when it cannot be
    /// read and written, belongs to somebody else, or is no file of this kind.
    static std::unique_ptr<VerifyDatabase> open(const QString &path, QString *error);
    ~VerifyDatabase();
    VerifyDatabase(const VerifyDatabase &) = delete;
    VerifyDatabase &operator=(const VerifyDatabase &) = delete;

    // False, or an empty value, when the file fails; `error` then says why, and is empty before that. It
    // stays empty when another process holds the file for longer than is worth waiting for.

    /// A kept value, and whether it is long ago that it was stored; storing it once more tells that it is of
    /// use.
    struct Found {
        QString value;
        bool isOld = false;
    };
    Found find(const FileState &state, const QString &algorithm);

    /// Between these, changes are one transaction.
    bool begin();
    bool commit();
    bool store(const FileState &state, const QString &algorithm, const QString &value);
    bool remove(const FileState &state, const QString &algorithm);

    /// Drops the older quarter of the values when the file has more than `limit` bytes in use.
    bool shrinkTo(qint64 limit);

    const QString &error() const { return m_error; }

private:
    struct Closer {
        void operator()(sqlite3 *database) const;
    };
    struct Finalizer {
        void operator()(sqlite3_stmt *statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

    VerifyDatabase() = default;
    bool setUp();
    Statement prepare(const char *sql);
    bool execute(const char *sql);
    bool run(sqlite3_stmt *statement);
    bool fail(int result);
    qint64 number(const char *sql);

    std::unique_ptr<sqlite3, Closer> m_database; // first, so that it goes last
    Statement m_find;
    Statement m_store;
    Statement m_remove;
    Statement m_begin;
    Statement m_commit;
    QString m_error;
};

} // namespace VESK::Host
