#include "vesk_base/file_modes.h"

#include <QtCore/QDir>

namespace VESK
{

namespace
{

bool isAtOrBelow(const QString &base, const QString &path)
{
    if (path == base)
        return true;
    return path.startsWith(base.endsWith(QLatin1Char('/')) ? base : base + QLatin1Char('/'));
}

} // namespace

bool changeModeUpTo(const QString &base, const QString &path, int mode)
{
    if (base.isEmpty() || path.isEmpty())
        return false;
    const QString top = QDir::cleanPath(base);
    QString level = QDir::cleanPath(path);
    if (!isAtOrBelow(top, level))
        return false;

    for (;;) {
        if (!hasMode(level, mode) && !changeMode(level, mode))
            return false;
        if (level == top)
            return true;
        const int cut = level.lastIndexOf(QLatin1Char('/'));
        level.truncate(cut > 0 ? cut : 1);
    }
}

} // namespace VESK
