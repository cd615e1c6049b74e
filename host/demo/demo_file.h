#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// Writes a file of `size` bytes that no two places of are alike. False when the disk refuses.
[[nodiscard]] bool makeDemoFile(const QString &path, qint64 size);

/// Are both files there, of one size and equal in every byte?
bool haveEqualBytes(const QString &a, const QString &b);

} // namespace VESK::Host
