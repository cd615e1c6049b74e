#include "vesk_base/path_claim.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#define XXH_NO_STREAM
#include <xxhash.h>

namespace VESK
{

namespace
{

constexpr int longestPath = 4096; // characters; the system resolves no path that is longer

/// One text for all texts that lead to the same place: as much of the path as exists, resolved by the
/// system, and the rest as it is (the target's directories may be created only later). Nothing is
/// tidied before that: ".." behind a link leads up from where the link leads to.
QString resolved(const QString &path)
{
    const QString whole = QDir::isRelativePath(path) ? QDir::currentPath() + QLatin1Char('/') + path : path;
    // A client can make it 30 times as long as the longest path; of that, the beginning may exist.
    int end = whole.size() > longestPath ? whole.lastIndexOf(QLatin1Char('/'), longestPath) : whole.size();
    for (; end > 0; end = whole.lastIndexOf(QLatin1Char('/'), end - 1)) {
        const QString canonical = QFileInfo(whole.left(end)).canonicalFilePath();
        if (!canonical.isEmpty())
            return QDir::cleanPath(canonical + whole.mid(end));
    }
    return QDir::cleanPath(whole);
}

QByteArray objectName(const QString &path)
{
    const QByteArray utf8 = resolved(path).toUtf8();
    const XXH128_hash_t hash = XXH3_128bits(utf8.constData(), static_cast<size_t>(utf8.size()));
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, hash);
    const QByteArray bytes(reinterpret_cast<const char *>(canonical.digest), sizeof canonical.digest);
    return "vesk-claim-" + bytes.toHex();
}

} // namespace

bool PathClaim::acquire(const QString &path)
{
    const QByteArray name = objectName(path);
    if (m_object != none && name == m_name)
        return true;
    const std::intptr_t object = open(name);
    if (object == none)
        return false;
    release();
    m_object = object;
    m_name = name;
    return true;
}

void PathClaim::release()
{
    if (m_object == none)
        return;
    close(m_object);
    m_object = none;
}

} // namespace VESK
