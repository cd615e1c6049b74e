#include "host/server/target_check.h"

#include "host/error_type.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>

namespace VESK::Host
{

namespace
{

constexpr int maxNameBytes = 255; // of one path component, on every common file system
constexpr mode_t modeBits = 07777;

QString value(const ParamMap &map, const char *key)
{
    return map.value(QLatin1String(key));
}

bool hasTooLongName(const QString &path)
{
    const QStringList parts = path.split(QLatin1Char('/'));
    return std::any_of(parts.begin(), parts.end(),
                       [](const QString &part) { return part.toUtf8().size() > maxNameBytes; });
}

QString deepestExisting(QString path)
{
    while (path.size() > 1 && !QFileInfo::exists(path))
        path = QFileInfo(path).path();
    return path;
}

// Only the owner may change a mode; one that is right already needs no change.
bool mayHaveMode(const QString &directory, int mode)
{
    struct stat status {
    };
    if (::stat(QFile::encodeName(directory).constData(), &status) != 0)
        return false;
    const bool isRight = (status.st_mode & modeBits) == static_cast<mode_t>(mode);
    return isRight || ::geteuid() == 0 || status.st_uid == ::geteuid();
}

bool modesCanBeSet(const UploadTarget &target, QString directory, int mode)
{
    while (directory.size() >= target.base.size()) {
        if (!mayHaveMode(directory, mode))
            return false;
        if (directory == target.base || directory.size() <= 1)
            break;
        directory = QFileInfo(directory).path();
    }
    return true;
}

QString findDirectoryObstacle(const Share &share, const UploadTarget &target)
{
    const QString existing = deepestExisting(target.directory);
    if (!QFileInfo(existing).isDir())
        return ErrorType::notDirectory();
    if (::access(QFile::encodeName(existing).constData(), W_OK | X_OK) != 0)
        return ErrorType::notWritable();
    return modesCanBeSet(target, existing, share.dirMode) ? QString() : ErrorType::notWritable();
}

bool hasSpace(const Share &share, const UploadTarget &target)
{
    const QFileInfo there(target.path);
    if (there.isFile() && there.size() == target.fileSize)
        return true; // most likely the file itself, and nothing will be sent
    const qint64 partial = QFileInfo(temporaryPath(target.path)).size();
    const qint64 needed = target.fileSize - (partial <= target.fileSize ? partial : 0);
    struct statvfs status {
    };
    const QByteArray directory = QFile::encodeName(deepestExisting(target.directory));
    if (::statvfs(directory.constData(), &status) != 0)
        return true; // a file system that does not say; the transfer will tell
    const fsblkcnt_t blocks = ::geteuid() == 0 ? status.f_bfree : status.f_bavail;
    const quint64 free = static_cast<quint64>(blocks) * status.f_frsize;
    return needed <= 0 || static_cast<quint64>(needed) + static_cast<quint64>(share.minFree) <= free;
}

} // namespace

UploadTarget uploadTarget(const Share &share, const ParamMap &taskParam)
{
    UploadTarget target;
    target.base = joinPath(share.directory, value(taskParam, "rootPath"));
    target.path = joinPath(joinPath(target.base, value(taskParam, "destPath")), value(taskParam, "fileName"));
    target.directory = QFileInfo(target.path).path();
    bool ok = false;
    const qint64 size = value(taskParam, "fileSize").toLongLong(&ok);
    target.fileSize = ok ? size : -1;
    return target;
}

QString findBadName(const UploadTarget &target)
{
    const QString name = target.path.section(QLatin1Char('/'), -1);
    if (name.isEmpty() || name == QLatin1String(".") || isTemporaryName(name))
        return ErrorType::badRequest();
    return hasTooLongName(target.path) ? ErrorType::nameTooLong() : QString();
}

QString findObstacle(const Share &share, const UploadTarget &target)
{
    if (target.fileSize < 0)
        return ErrorType::badRequest();
    const QString badName = findBadName(target);
    if (!badName.isEmpty())
        return badName;
    if (QFileInfo(target.path).isDir())
        return ErrorType::isDirectory();
    const QString obstacle = findDirectoryObstacle(share, target);
    if (!obstacle.isEmpty())
        return obstacle;
    return hasSpace(share, target) ? QString() : ErrorType::noSpace();
}

QString findCreateDirObstacle(const Share &share, const ParamMap &taskParam)
{
    UploadTarget target;
    target.base = joinPath(share.directory, value(taskParam, "rootPath"));
    target.directory = joinPath(target.base, value(taskParam, "destPath"));
    if (hasTooLongName(target.directory))
        return ErrorType::nameTooLong();
    return findDirectoryObstacle(share, target);
}

} // namespace VESK::Host
