#include "vesk_base/file_modes.h"

#include <QtCore/QDir>

namespace VESK
{

namespace
{

const QLatin1String here(".", 1); // the current directory; above every relative path but those that climb

bool isAtOrBelow(const QString &base, const QString &path)
{
    if (path == base)
        return true;
    if (base == here)
        return QDir::isRelativePath(path) && !isAtOrBelow(QStringLiteral(".."), path);
    return path.startsWith(base.endsWith(QLatin1Char('/')) ? base : base + QLatin1Char('/'));
}

/// The directory in which `level` is.
QString levelAbove(const QString &level)
{
    const int cut = level.lastIndexOf(QLatin1Char('/'));
    if (cut < 0)
        return here;
    return level.left(cut > 0 ? cut : 1);
}

} // namespace

bool changeModeUpTo(const QString &base, const QString &path, int mode)
{
    if (base.isEmpty())
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
        level = levelAbove(level);
    }
}

} // namespace VESK
