#pragma once

#include <QtCore/QString>

#include <cstdint>
#include <optional>

namespace VESK
{

class Operation;

// How a received file gets to its place, at whichever end receives it.

/// The temporary file of `target`, recorded under `tmpFilePath`; nothing, after a log line, when another
/// running task is writing it.
std::optional<QString> takeTemporaryFile(const Operation &op, const QString &target);

/// The size of a file in bytes, 0 when it does not exist: where a resumed transfer goes on.
std::int64_t sizeOnDisk(const QString &path);

/// The open mode that stands for a fresh start with the replace switch, and for going on without. The
/// stream is opened for appending in both cases.
unsigned int receivingMode(bool replace);

/// Deletes a temporary file that the other end cannot continue.
bool dropTemporaryFile(const Operation &op, const QString &temporary);

bool makeDirectory(const Operation &op, const QString &directory);

/// Gives `mode` to the directories from the task's root down to `directory`.
bool setDirectoryModes(const Operation &op, const QString &root, const QString &directory, int mode);

/// Deletes what stood at `target` before the task, if anything did.
bool removeOldTarget(const Operation &op, const QString &target, bool existed);

bool renameIntoPlace(const Operation &op, const QString &temporary, const QString &target);

/// Gives the file that is now in its place the time of the sender's, see `UpdateMtime`. A later task then
/// knows its verification value, where the host keeps those.
void settleTime(const Operation &op, const QString &target, std::int64_t mtime);

} // namespace VESK
