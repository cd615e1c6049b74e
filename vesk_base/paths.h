#pragma once

#include "vesk_base/export.h"

#include <QtCore/QString>
#include <QtCore/QStringView>

namespace VESK
{

/// Joins two path pieces: exactly one separator at the seam, none at the end (a root stays "/"), runs of
/// separators collapsed. An empty piece adds nothing; "." and ".." are left as they are.
VESK_BASE_EXPORT QString joinPath(const QString &a, const QString &b);

/// The path of the temporary file in which a partial copy of `path` is received: in the same directory,
/// ".<head of the name>.<16 hex digits of a hash of the name>.vsktmp". It depends on the text of `path`
/// only, starts with a dot and is at most 121 bytes long whatever the name.
VESK_BASE_EXPORT QString temporaryPath(const QString &path);

/// Is `name`, without a directory, one that `temporaryPath` gives?
VESK_BASE_EXPORT bool isTemporaryName(QStringView name);

/// Is `path` one that `temporaryPath` gives, as far as its last name tells?
VESK_BASE_EXPORT bool isTemporaryPath(const QString &path);

/// Does something exist at `path`? A link that leads nowhere does not count.
VESK_BASE_EXPORT bool pathExists(const QString &path);

/// Creates the directory `path` and every missing level above it. True when a directory is there
/// afterwards, also when it was there before.
VESK_BASE_EXPORT bool makeDirectoryPath(const QString &path);

} // namespace VESK
