#pragma once

#include <QtCore/QLatin1String>
#include <QtCore/QString>

#include <optional>

namespace VESK
{

class Operation;

/// The task's root directory on the server: `mountPath`, the application's path and `rootPath`, joined.
/// Nothing, after a log line, when the application is unknown.
std::optional<QString> serverRoot(const Operation &op);

/// Logs that work on `path` begins.
void announce(const Operation &op, const QString &path);

/// A permission mode from the parameters: octal digits, or the number 777 (decimal) when it is empty. Text
/// that is not octal gives 0.
int permissionMode(const Operation &op, QLatin1String key);

} // namespace VESK
