#include "vesk_base/path_claim.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#define XXH_NO_STREAM
#include <xxhash.h>

namespace VESK
{

namespace
{

/// One text for all texts that lead to the same place: the deepest directory that exists, resolved, and
/// the rest as it is (the target's directories may be created only later).
QString resolved(const QString &path)
{
    QString existing = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    QString rest;
    for (;;) {
        const int cut = existing.lastIndexOf(QLatin1Char('/'));
        if (cut < 0)
            return existing + rest;
        rest = existing.mid(cut) + rest;
        existing.truncate(cut);
        const QString canonical =
            QFileInfo(existing.isEmpty() ? QStringLiteral("/") : existing).canonicalFilePath();
        if (!canonical.isEmpty())
            return canonical + rest;
    }
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
    m_name.clear();
}

} // namespace VESK
