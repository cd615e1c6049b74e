#include "vesk_base/file_modes.h"

#include <QtCore/QDir>

#include <io.h>
#include <sys/stat.h>

namespace VESK
{

namespace
{

constexpr int maxMode = 07777; // the range of the POSIX systems, so that both refuse the same numbers
constexpr int ownerWrite = 0200;

const wchar_t *wide(const QString &nativePath)
{
    return reinterpret_cast<const wchar_t *>(nativePath.utf16());
}

/// A path that the system would not read to its end names another file than it seems to.
bool isCutByNul(const QString &path)
{
    return path.contains(QChar(0));
}

} // namespace

bool changeMode(const QString &path, int mode)
{
    if (path.isEmpty() || isCutByNul(path) || mode < 0 || mode > maxMode)
        return false;
    const int windowsMode = (mode & ownerWrite) != 0 ? _S_IREAD | _S_IWRITE : _S_IREAD;
    return _wchmod(wide(QDir::toNativeSeparators(path)), windowsMode) == 0;
}

bool hasMode(const QString &path, int mode)
{
    struct _stat64 status;
    if (isCutByNul(path) || _wstat64(wide(QDir::toNativeSeparators(path)), &status) != 0)
        return false;
    return ((status.st_mode & _S_IWRITE) != 0) == ((mode & ownerWrite) != 0);
}

} // namespace VESK
