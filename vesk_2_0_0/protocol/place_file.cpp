#include "vesk_2_0_0/protocol/place_file.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace VESK
{

namespace
{

constexpr unsigned int truncateMode = 50; // out (2), trunc (16) and binary (32)
constexpr unsigned int appendMode = 42; // out (2), app (8) and binary (32)

/// Is `path` a link to what does not exist?
bool leadsNowhere(const QString &path)
{
    return QFileInfo(path).isSymLink() && !VeskBase::exist(path);
}

} // namespace

std::optional<QString> takeTemporaryFile(const Operation &op, const QString &target)
{
    const QString temporary = op.handler().generateTmpFilePath(target);
    if (op.handler().setParam(Key::tmpFilePath, temporary))
        return temporary;
    op.error("%1: setParam tmpFilePath %2 failed.", temporary);
    return std::nullopt;
}

std::int64_t sizeOnDisk(const QString &path)
{
    return QFileInfo(path).size();
}

unsigned int receivingMode(bool replace)
{
    return replace ? truncateMode : appendMode;
}

bool dropTemporaryFile(const Operation &op, const QString &temporary)
{
    if (!QFile::remove(temporary))
        return op.fail("%1: remove tmp file %2 failed.", temporary);
    return true;
}

bool makeDirectory(const Operation &op, const QString &directory)
{
    if (!VeskBase::mkdir(directory))
        return op.fail("%1: mkdir %2 failed.", directory);
    return true;
}

bool setDirectoryModes(const Operation &op, const QString &root, const QString &directory, int mode)
{
    if (!VeskBase::chmodRecursively(root, directory, mode))
        return op.fail("%1: chmodRecursively %2 failed.", directory);
    return true;
}

bool removeOldTarget(const Operation &op, const QString &target, bool existed)
{
    if (existed && !QFile::remove(target))
        return op.fail("%1: removeFile %2 failed.", target);
    return true;
}

bool renameIntoPlace(const Operation &op, const QString &temporary, const QString &target)
{
    // Qt copies where renaming fails, and through a link that leads nowhere it would write where that points.
    const bool vacant = !leadsNowhere(target) || QFile::remove(target);
    if (!vacant || !QFile::rename(temporary, target))
        return op.fail("%1: rename %2 to %3 failed.", temporary, target);
    return true;
}

void settleTime(const Operation &op, const QString &target, std::int64_t mtime)
{
    // Asked before, since a time that is set hides that the file was written to.
    const bool isAsVerified = op.handler().values().isUnchanged(target);
    op.handler().UpdateMtime(target, op.name(), mtime);
    if (isAsVerified)
        op.handler().values().keepFor(target);
}

} // namespace VESK
