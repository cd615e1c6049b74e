#pragma once

#include "vesk_base/export.h"

#include <QtCore/QString>

namespace VESK
{

/// The verification value of the file at `path`: equal on both ends of a connection for equal contents.
///
/// `mode` "md5", "sha1" and "sha256" give that digest in lower-case hex; "fileattr" gives the size and
/// the XXH3-128 hash of the whole file up to 1 MiB, of 16 evenly spaced blocks of 64 KiB above that; every
/// other text gives the size and the XXH3-128 hash of the whole file. The file's time never counts.
///
/// Empty for what is no readable regular file, and when reading fails. Callable from any thread.
VESK_BASE_EXPORT QString fileVerifyValue(const QString &path, const QString &mode);

/// One name for all modes that give the same values: "md5", "sha1", "sha256", "fileattr" or "xxh128".
VESK_BASE_EXPORT QString verifyAlgorithm(const QString &mode);

} // namespace VESK
