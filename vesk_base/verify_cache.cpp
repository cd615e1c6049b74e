#include "vesk_base/verify_cache.h"

#include "vesk_base/paths.h"
#include "vesk_base/verify_value.h"

#include <QtCore/QMutex>
#include <QtCore/QMutexLocker>

namespace VESK
{

namespace
{

QMutex cacheMutex; // guards the pointer; a call of the cache keeps its own reference instead
std::shared_ptr<VerifyCache> currentCache;

std::shared_ptr<VerifyCache> installedCache()
{
    const QMutexLocker lock(&cacheMutex);
    return currentCache;
}

/// The same file with the same contents, as far as times can tell that somebody may set?
bool hasSameContents(const FileState &a, const FileState &b)
{
    return a.device == b.device && a.inode == b.inode && a.size == b.size && a.mtimeNs == b.mtimeNs;
}

} // namespace

VerifyCache::~VerifyCache() = default;

void setVerifyCache(std::shared_ptr<VerifyCache> cache)
{
    const QMutexLocker lock(&cacheMutex);
    currentCache.swap(cache); // the old one goes after the lock, since parameters outlive locals
}

QString TaskValues::valueOf(const QString &path, const QString &mode)
{
    m_last.reset();
    const std::shared_ptr<VerifyCache> cache = installedCache();
    const qint64 now = fileClockNs(); // before the state: a change after it is later than this
    const std::optional<FileState> state = cache ? readFileState(path) : std::nullopt;
    if (!state)
        return fileVerifyValue(path, mode);

    const QString algorithm = verifyAlgorithm(mode);
    const bool isOurs = isTemporaryPath(path); // nobody else writes it, and its contents are to be proven
    const QString found = isOurs ? QString() : cache->find(*state, algorithm);
    if (!found.isEmpty()) {
        m_last = Known{*state, algorithm, found};
        return found;
    }

    const QString value = fileVerifyValue(path, mode);
    const bool wouldShow = isSettled(state->ctimeNs, now);
    if (value.isEmpty() || (!isOurs && !wouldShow) || readFileState(path) != state)
        return value; // it may have changed while it was read
    m_last = Known{*state, algorithm, value};
    if (!isOurs)
        cache->store(*state, algorithm, value);
    return value;
}

bool TaskValues::isUnchanged(const QString &path) const
{
    if (!m_last)
        return false;
    const std::optional<FileState> state = readFileState(path);
    return state && hasSameContents(*state, m_last->state);
}

void TaskValues::keepFor(const QString &path)
{
    const std::shared_ptr<VerifyCache> cache = installedCache();
    if (!cache || !m_last)
        return;
    const qint64 now = fileClockNs();
    const std::optional<FileState> state = readFileState(path);
    if (!state || *state == m_last->state) // nothing happened to it since, so it is kept if it may be
        return;
    // What just happened to the file set its ctime to now, so only its other time can show a later change.
    FileState expected = m_last->state;
    expected.mtimeNs = state->mtimeNs;
    if (!hasSameContents(*state, expected) || !isSettled(state->mtimeNs, now))
        return;
    cache->store(*state, m_last->algorithm, m_last->value);
    m_last->state = *state;
}

void TaskValues::forget()
{
    const std::shared_ptr<VerifyCache> cache = installedCache();
    if (cache && m_last)
        cache->forget(m_last->state, m_last->algorithm);
    m_last.reset();
}

} // namespace VESK
