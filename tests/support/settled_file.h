#pragma once

#include <QtCore/QString>

namespace VESK::Test
{

constexpr qint64 oneSecond = 1000000000; // ns

/// Sets the time of the last change of the contents, in ns since 1970; the test fails when it cannot.
void setModificationTime(const QString &path, qint64 timeNs);

/// Waits until the last change of the file at `path` is so old that a next one would show. False when that
/// does not come to be.
[[nodiscard]] bool waitUntilSettled(const QString &path);

/// A readable regular file that nobody has changed for some seconds: this program. Waits until that is so; an
/// empty text when it does not become so.
QString settledFile();

} // namespace VESK::Test
