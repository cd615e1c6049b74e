#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace VESK::Host
{

/// Partial copies in a directory and below it, hidden directories included, sorted by path: what interrupted
/// transfers have left, and what running ones write to. Links are not followed.
QStringList findPartialFiles(const QString &directory);

/// The time in seconds for which nobody wrote to a partial copy that may be removed: a transfer may be going
/// on with a younger one.
constexpr double shortestPartialAge = 3600;

} // namespace VESK::Host
