#pragma once

#include "vesk_base/export.h"

#include <QtCore/QString>

namespace VESK
{

/// Gives `path` the permission mode `mode`, the number itself, 0 to 07777. False outside that range, for
/// a path with a NUL in it and when the system refuses. On Windows only the owner's write bit has a meaning.
VESK_BASE_EXPORT bool changeMode(const QString &path, int mode);

/// Gives `mode` to `path` and every level above it up to and including `base`, deepest first, so that a
/// mode without search permission does not lock the way. Levels that have the mode are left alone, which
/// keeps directories of other owners usable. False when `path` is not at or below `base`.
VESK_BASE_EXPORT bool changeModeUpTo(const QString &base, const QString &path, int mode);

/// Has `path` this mode already? False when that cannot be told. (Internal: used by `changeModeUpTo`.)
bool hasMode(const QString &path, int mode);

} // namespace VESK
