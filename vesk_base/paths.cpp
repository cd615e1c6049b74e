#include "vesk_base/paths.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#define XXH_NO_STREAM
#include <xxhash.h>

namespace VESK
{

namespace
{

constexpr QLatin1Char separator('/');
const QLatin1String temporarySuffix(".vsktmp", 7);
constexpr int maxHeadBytes = 96; // leaves room for the rest in the 255 bytes that file systems grant a name
constexpr int hashDigits = 16;

/// Runs of separators become one. The two that begin a Windows network path are kept.
QString collapseSeparators(const QString &path)
{
    QString out;
    out.reserve(path.size());
#ifdef Q_OS_WIN
    constexpr int keep = 2;
#else
    constexpr int keep = 1;
#endif
    for (const QChar c : path) {
        const bool repeated = c == separator && out.endsWith(separator);
        if (!repeated || out.size() < keep)
            out += c;
    }
    return out;
}

/// As much of `name` as fits into the head of a temporary name, cut between characters.
QString headOfName(const QString &name)
{
    int bytes = 0;
    int i = 0;
    while (i < name.size()) {
        const int units = name[i].isHighSurrogate() ? 2 : 1; // the other half follows in every file's name
        bytes += name.mid(i, units).toUtf8().size();
        if (bytes > maxHeadBytes)
            break;
        i += units;
    }
    return name.left(i);
}

bool isHexDigit(QChar c)
{
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9'))
        || (c >= QLatin1Char('a') && c <= QLatin1Char('f'));
}

} // namespace

QString joinPath(const QString &a, const QString &b)
{
    QString joined = a;
    if (!a.isEmpty())
        joined += separator;
    joined = collapseSeparators(joined + b);
    if (joined.size() > 1 && joined.endsWith(separator))
        joined.chop(1);
    return joined;
}

QString temporaryPath(const QString &path)
{
    QString whole = path;
    while (whole.size() > 1 && whole.endsWith(separator))
        whole.chop(1);
    const int nameAt = whole.lastIndexOf(separator) + 1;
    const QString name = whole.mid(nameAt);
    const QByteArray utf8 = name.toUtf8();
    const QString hash = QString::number(XXH3_64bits(utf8.constData(), static_cast<size_t>(utf8.size())), 16);

    return whole.left(nameAt) + QLatin1Char('.') + headOfName(name) + QLatin1Char('.')
        + hash.rightJustified(hashDigits, QLatin1Char('0')) + temporarySuffix;
}

bool isTemporaryName(QStringView name)
{
    const qsizetype hashAt = name.size() - temporarySuffix.size() - hashDigits;
    if (hashAt < 2 || !name.startsWith(QLatin1Char('.')) || !name.endsWith(temporarySuffix)
        || name[hashAt - 1] != QLatin1Char('.'))
        return false;
    for (qsizetype i = hashAt; i < hashAt + hashDigits; ++i)
        if (!isHexDigit(name[i]))
            return false;
    return true;
}

bool isTemporaryPath(const QString &path)
{
    return isTemporaryName(QStringView(path).mid(path.lastIndexOf(separator) + 1));
}

bool pathExists(const QString &path)
{
    return QFileInfo::exists(path);
}

bool makeDirectoryPath(const QString &path)
{
    if (path.isEmpty()) // of which Qt complains in the log
        return false;
    return QDir().mkpath(path);
}

} // namespace VESK
