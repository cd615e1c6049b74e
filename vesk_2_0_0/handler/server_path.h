#pragma once

#include <QtCore/QLatin1String>
#include <QtCore/QString>

#include <optional>

namespace VESK
{

class Operation;

/// What a client says about the place of its task on the server.
struct TaskPlace {
    QString directory; ///< below the root directory
    QString rootPath;
    QString appKey;
};

/// Reads the five parameters of every task that name its place and who asks, beginning with that of
/// `directoryKey`. Who asks is for derived handlers, which see the question.
TaskPlace readTaskPlace(const Operation &op, QLatin1String directoryKey);

/// The task's root directory on the server: `mountPath`, the application's path and the place's root path,
/// joined. Nothing, after a log line, when the application is unknown.
std::optional<QString> serverRoot(const Operation &op, const QString &mountPath, const TaskPlace &place);

/// Logs that work on `path` begins.
void announce(const Operation &op, const QString &path);

/// A permission mode from the parameters: octal digits, or the number 777 (decimal) when it is empty. Text
/// that is not octal gives 0.
int permissionMode(const Operation &op, QLatin1String key);

} // namespace VESK
