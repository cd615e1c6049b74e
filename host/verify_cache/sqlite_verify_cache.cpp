#include "host/verify_cache/sqlite_verify_cache.h"

#include "host/text.h"
#include "host/verify_cache/verify_database.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <sys/stat.h>

namespace VESK::Host
{

namespace
{

// A transaction costs more than a value, and what waits is lost with the process.
constexpr std::size_t writeAtCount = 256;
constexpr qint64 writeAfterMs = 1000;

void makeDirectory(const QString &path)
{
    if (QFileInfo::exists(path))
        return;
    (void)QDir().mkpath(QFileInfo(path).path()); // a failure shows when the file is opened
    (void)::mkdir(QFile::encodeName(path).constData(), 0700); // as above
}

} // namespace

SqliteVerifyCache::SqliteVerifyCache(const QString &path, Warn warn, qint64 sizeLimit)
    : m_path(path)
    , m_warn(std::move(warn))
    , m_sizeLimit(sizeLimit)
{
}

SqliteVerifyCache::~SqliteVerifyCache()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    write();
}

bool SqliteVerifyCache::isOpen()
{
    if (m_wasOpened)
        return m_database != nullptr;
    m_wasOpened = true;
    makeDirectory(QFileInfo(m_path).absolutePath());
    QString error;
    m_database = VerifyDatabase::open(m_path, &error);
    if (!m_database)
        giveUp(error);
    return m_database != nullptr;
}

QString SqliteVerifyCache::find(const FileState &state, const QString &algorithm)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto pending = m_pending.values.find({state.device, state.inode, algorithm});
    if (pending != m_pending.values.end())
        return pending->second.state == state ? pending->second.value : QString();
    if (!isOpen())
        return QString();
    const VerifyDatabase::Found found = m_database->find(state, algorithm);
    if (!m_database->error().isEmpty())
        giveUp(m_database->error());
    else if (found.isOld)
        keep(state, algorithm, found.value);
    return found.value;
}

void SqliteVerifyCache::store(const FileState &state, const QString &algorithm, const QString &value)
{
    put(state, algorithm, value);
}

void SqliteVerifyCache::forget(const FileState &state, const QString &algorithm)
{
    put(state, algorithm, QString());
}

void SqliteVerifyCache::put(const FileState &state, const QString &algorithm, const QString &value)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (isOpen())
        keep(state, algorithm, value);
}

// With the mutex held and the database open.
void SqliteVerifyCache::keep(const FileState &state, const QString &algorithm, const QString &value)
{
    const qint64 nowMs = QDateTime::currentMSecsSinceEpoch();
    if (m_pending.values.empty())
        m_pending.sinceMs = nowMs;
    m_pending.values[{state.device, state.inode, algorithm}] = {state, value};
    const bool isOld = qAbs(nowMs - m_pending.sinceMs) >= writeAfterMs;
    if (isOld || m_pending.values.size() >= writeAtCount)
        write();
}

void SqliteVerifyCache::write()
{
    if (!m_database || m_pending.values.empty())
        return;
    bool isWritten = m_database->begin();
    for (const auto &[key, entry] : m_pending.values) {
        const QString &algorithm = std::get<QString>(key);
        isWritten = isWritten
            && (entry.value.isEmpty() ? m_database->remove(entry.state, algorithm)
                                      : m_database->store(entry.state, algorithm, entry.value));
    }
    // Another process may write for longer than is worth waiting for; then these values are not kept.
    (void)(isWritten && m_database->shrinkTo(m_sizeLimit) && m_database->commit());
    m_pending.values.clear();
    if (!m_database->error().isEmpty())
        giveUp(m_database->error());
}

// Once something is wrong, nothing that the file says is of worth.
void SqliteVerifyCache::giveUp(const QString &why)
{
    const QString warning =
        QStringLiteral("the cache of verification values %1 is not used: %2. Files are read again instead; "
                       "the cache may be deleted at any time.")
            .arg(escaped(m_path), why);
    m_database.reset(); // and `why` with it, where it is the database's own
    m_pending.values.clear();
    m_warn(warning);
}

} // namespace VESK::Host
