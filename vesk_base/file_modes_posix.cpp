#include "vesk_base/file_modes.h"

#include <QtCore/QFile>

#include <sys/stat.h>

namespace VESK
{

namespace
{

constexpr int maxMode = 07777; // permissions with set-user, set-group and sticky

/// A path that the system would not read to its end names another file than it seems to.
bool isCutByNul(const QString &path)
{
    return path.contains(QChar(0));
}

} // namespace

bool changeMode(const QString &path, int mode)
{
    if (isCutByNul(path) || mode < 0 || mode > maxMode)
        return false;
    return ::chmod(QFile::encodeName(path).constData(), static_cast<mode_t>(mode)) == 0;
}

bool hasMode(const QString &path, int mode)
{
    struct stat status {
    };
    const bool isKnown = !isCutByNul(path) && ::stat(QFile::encodeName(path).constData(), &status) == 0;
    return isKnown && static_cast<int>(status.st_mode & maxMode) == mode;
}

} // namespace VESK
