#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// What makes a path from a server's listing unfit to become a local one, in words for people: a ".." or
/// empty part, a NUL, half a surrogate pair, a name that only partial copies bear. Empty when it is fit:
/// "/a/b" is, and what it stands for lies below the directory to which it is joined.
QString flawOfListedPath(const QString &path);

} // namespace VESK::Host
