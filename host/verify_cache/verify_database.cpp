#include "host/verify_cache/verify_database.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include <sqlite3.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace VESK::Host
{

namespace
{

constexpr int formatVersion = 1;
constexpr int busyTimeoutMs = 2000; // another process writes for some milliseconds at a time
constexpr qint64 useStepMs = qint64(24) * 3600 * 1000; // how exactly it is known when a value was last of use

// A row per file and algorithm: a changed file takes the place of what it was.
constexpr char createTable[] = "CREATE TABLE IF NOT EXISTS verify_value("
                               "device INTEGER NOT NULL, inode INTEGER NOT NULL, algorithm TEXT NOT NULL, "
                               "size INTEGER NOT NULL, mtime_ns INTEGER NOT NULL, ctime_ns INTEGER NOT NULL, "
                               "value TEXT NOT NULL, used_ms INTEGER NOT NULL, "
                               "PRIMARY KEY(device, inode, algorithm)) WITHOUT ROWID";
constexpr char findSql[] =
    "SELECT value, used_ms FROM verify_value WHERE device=?1 AND inode=?2 AND algorithm=?3 "
    "AND size=?4 AND mtime_ns=?5 AND ctime_ns=?6";
constexpr char storeSql[] = "INSERT OR REPLACE INTO verify_value VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)";
constexpr char removeSql[] = "DELETE FROM verify_value WHERE device=?1 AND inode=?2 AND algorithm=?3";
constexpr char shrinkSql[] = "DELETE FROM verify_value WHERE used_ms <= (SELECT used_ms FROM verify_value "
                             "ORDER BY used_ms LIMIT 1 OFFSET (SELECT count(*) / 4 FROM verify_value))";

/// Makes the file readable and writable for its owner only when it is missing: what stands in it decides
/// which files are taken for unchanged. False when somebody else could write to it. An existing file is not
/// opened: closing it again would drop the locks of a database that this process has open.
bool claimFile(const QByteArray &path, QString *error)
{
    const int descriptor = ::open(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor >= 0) {
        ::close(descriptor);
        return true;
    }
    struct stat status;
    if (errno != EEXIST || ::stat(path.constData(), &status) != 0) {
        *error = qt_error_string(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        *error = QStringLiteral("it is no regular file");
        return false;
    }
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        *error = QStringLiteral("others can write to it");
        return false;
    }
    return true;
}

void bindKey(sqlite3_stmt *statement, const FileState &state, const QByteArray &algorithm)
{
    sqlite3_bind_int64(statement, 1, static_cast<qint64>(state.device));
    sqlite3_bind_int64(statement, 2, static_cast<qint64>(state.inode));
    sqlite3_bind_text(statement, 3, algorithm.constData(), algorithm.size(), SQLITE_TRANSIENT);
}

void bindState(sqlite3_stmt *statement, const FileState &state)
{
    sqlite3_bind_int64(statement, 4, state.size);
    sqlite3_bind_int64(statement, 5, state.mtimeNs);
    sqlite3_bind_int64(statement, 6, state.ctimeNs);
}

} // namespace

void VerifyDatabase::Closer::operator()(sqlite3 *database) const
{
    sqlite3_close_v2(database);
}

void VerifyDatabase::Finalizer::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

std::unique_ptr<VerifyDatabase> VerifyDatabase::open(const QString &path, QString *error)
{
    const QByteArray name = QFile::encodeName(path);
    if (!claimFile(name, error))
        return nullptr;
    std::unique_ptr<VerifyDatabase> database(new VerifyDatabase);
    sqlite3 *handle = nullptr;
    constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(name.constData(), &handle, flags, nullptr);
    database->m_database.reset(handle);
    if (result == SQLITE_OK && database->setUp())
        return database;
    *error = database->m_error.isEmpty() ? QString::fromUtf8(sqlite3_errstr(result)) : database->m_error;
    return nullptr;
}

VerifyDatabase::~VerifyDatabase() = default;

bool VerifyDatabase::setUp()
{
    sqlite3_busy_timeout(m_database.get(), busyTimeoutMs);
    // With a journal of this kind readers and a writer do not wait for each other, and what is written is
    // whole after a crash without waiting for the disk at each transaction.
    if (!execute("PRAGMA journal_mode=WAL") || !execute("PRAGMA synchronous=NORMAL"))
        return false;
    const qint64 version = number("PRAGMA user_version");
    if (version != 0 && version != formatVersion) {
        m_error = QStringLiteral("another version has made it");
        return false;
    }
    const QByteArray setVersion = "PRAGMA user_version=" + QByteArray::number(formatVersion);
    if (!execute(createTable) || (version == 0 && !execute(setVersion.constData())))
        return false;
    m_find = prepare(findSql);
    m_store = prepare(storeSql);
    m_remove = prepare(removeSql);
    m_begin = prepare("BEGIN IMMEDIATE");
    m_commit = prepare("COMMIT");
    return m_find && m_store && m_remove && m_begin && m_commit;
}

VerifyDatabase::Statement VerifyDatabase::prepare(const char *sql)
{
    sqlite3_stmt *statement = nullptr;
    const int result =
        sqlite3_prepare_v3(m_database.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (result != SQLITE_OK)
        (void)fail(result); // the null pointer tells
    return Statement(statement);
}

bool VerifyDatabase::execute(const char *sql)
{
    const int result = sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr);
    return result == SQLITE_OK || fail(result);
}

bool VerifyDatabase::run(sqlite3_stmt *statement)
{
    const int result = sqlite3_step(statement);
    const bool isDone = result == SQLITE_DONE || result == SQLITE_ROW || fail(result);
    sqlite3_reset(statement);
    return isDone;
}

bool VerifyDatabase::fail(int result)
{
    if (result != SQLITE_BUSY)
        m_error = QString::fromUtf8(sqlite3_errmsg(m_database.get()));
    return false;
}

qint64 VerifyDatabase::number(const char *sql)
{
    const Statement statement = prepare(sql);
    if (!statement || sqlite3_step(statement.get()) != SQLITE_ROW)
        return 0;
    return sqlite3_column_int64(statement.get(), 0);
}

VerifyDatabase::Found VerifyDatabase::find(const FileState &state, const QString &algorithm)
{
    sqlite3_stmt *const statement = m_find.get();
    bindKey(statement, state, algorithm.toUtf8());
    bindState(statement, state);
    const int result = sqlite3_step(statement);
    Found found;
    if (result == SQLITE_ROW) {
        found.value = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0)));
        const qint64 usedMs = sqlite3_column_int64(statement, 1);
        found.isOld = QDateTime::currentMSecsSinceEpoch() - usedMs >= useStepMs;
    } else if (result != SQLITE_DONE) {
        (void)fail(result); // the caller asks for the error
    }
    sqlite3_reset(statement);
    return found;
}

bool VerifyDatabase::begin()
{
    return run(m_begin.get());
}

bool VerifyDatabase::commit()
{
    return run(m_commit.get());
}

bool VerifyDatabase::store(const FileState &state, const QString &algorithm, const QString &value)
{
    const QByteArray text = value.toUtf8();
    sqlite3_stmt *const statement = m_store.get();
    bindKey(statement, state, algorithm.toUtf8());
    bindState(statement, state);
    sqlite3_bind_text(statement, 7, text.constData(), text.size(), SQLITE_TRANSIENT);
    sqlite3_bind_int64(statement, 8, QDateTime::currentMSecsSinceEpoch());
    return run(statement);
}

bool VerifyDatabase::remove(const FileState &state, const QString &algorithm)
{
    bindKey(m_remove.get(), state, algorithm.toUtf8());
    return run(m_remove.get());
}

bool VerifyDatabase::shrinkTo(qint64 limit)
{
    const qint64 pages = number("PRAGMA page_count") - number("PRAGMA freelist_count");
    if (pages * number("PRAGMA page_size") <= limit)
        return m_error.isEmpty();
    return execute(shrinkSql);
}

} // namespace VESK::Host
