#include "host/server/source_check.h"

#include "host/error_type.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <unistd.h>

namespace VESK::Host
{

namespace
{

// Resolved in the same way as the handler does.
QString sourceDirectory(const Share &share, const ParamMap &taskParam)
{
    const QString root = joinPath(share.directory, taskParam.value(QStringLiteral("rootPath")));
    return joinPath(root, taskParam.value(QStringLiteral("srcPath")));
}

bool mayAccess(const QString &path, int mode)
{
    return ::access(QFile::encodeName(path).constData(), mode) == 0;
}

} // namespace

QString findDownloadObstacle(const Share &share, const ParamMap &taskParam)
{
    const QString name = taskParam.value(QStringLiteral("fileName"));
    const QString path = joinPath(sourceDirectory(share, taskParam), name);
    const QFileInfo info(path);
    if (!info.exists())
        return ErrorType::fileNotExist();
    if (info.isDir())
        return ErrorType::isDirectory();
    if (!info.isFile())
        return ErrorType::notRegularFile();
    return mayAccess(path, R_OK) ? QString() : ErrorType::notReadable();
}

QString findListObstacle(const Share &share, const ParamMap &taskParam)
{
    const QString path = sourceDirectory(share, taskParam);
    const QFileInfo info(path);
    if (!info.exists())
        return ErrorType::noSuchDirectory();
    if (!info.isDir())
        return ErrorType::notDirectory();
    return mayAccess(path, R_OK | X_OK) ? QString() : ErrorType::notReadable();
}

} // namespace VESK::Host
