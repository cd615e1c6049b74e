#include "vesk_2_0_0/handler/file_times.h"

#include "vesk_2_0_0/handler/operation.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

namespace VESK
{

FileStatus statusForSending(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isSymLink())
        return {info.size(), modificationTime(info)};
    FileStatus status;
    return readStatus(path, status) ? status : FileStatus();
}

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED
std::int64_t modificationTime(const QFileInfo &info)
{
    return static_cast<std::int64_t>(info.lastModified().toTime_t());
}
QT_WARNING_POP

void VeskHandler2_0_0::UpdateMtime(const QString &path, const QString &name, qint64 mtime)
{
    if (mtime == 0 || mtime == -1)
        return;
    const Operation op(*this, name);
    FileStatus status;
    // A path with a NUL in it would name the file of its beginning.
    if (path.contains(QChar(0)) || !readStatus(path, status)) {
        op.error("%1: get stat of  %2 failed.", path); // two blanks: log readers match this text
        return;
    }
    // Setting the time that a file has would still mark it as changed, for backups and for kept values.
    const bool hasTime = status.mtime == mtime && status.isWholeSecond;
    if (!hasTime && !writeModificationTime(path, mtime)) {
        op.error("%1: set new mtime of %2 failed.", path);
        return;
    }
    op.debug("%1: set [%2] mtime [%3] finished!", path, QString::number(mtime));
}

} // namespace VESK
