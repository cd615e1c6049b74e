#pragma once

#include <QtCore/QString>
#include <QtCore/QtGlobal>

namespace VESK::Host
{

/// What a client's host asks of the server's beside the task itself. The map of a task has room for what
/// the handler knows and nothing else, so the wishes stand behind the client's version, which is for hosts:
/// "0.1.0;existing=keep;rate=1048576". A server that knows none of them takes the whole for a version.
struct TaskWishes {
    bool keepsExisting = false; ///< an upload whose target exists is refused
    qint64 rateLimit = 0; ///< bytes per second for what the server sends; 0: none

    /// The version with the wishes behind it.
    QString appendTo(const QString &version) const;
    /// What stands behind a version; what is not known is passed over.
    static TaskWishes parse(const QString &version);
};

} // namespace VESK::Host
