#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// Sends every handler's log lines, and those of `logServer`, to stderr: level, the client of the calling
/// thread if it serves one, and the message, with file names escaped. "debug" lines only when `verbose`.
void installServerLog(bool verbose);

/// One line of the server itself. Any thread.
void logServer(const QString &level, const QString &message);

/// While it lives, the calling thread's lines bear this client's address.
class LoggedClient
{
public:
    explicit LoggedClient(const QString &address);
    ~LoggedClient();
    LoggedClient(const LoggedClient &) = delete;
    LoggedClient &operator=(const LoggedClient &) = delete;
};

} // namespace VESK::Host
