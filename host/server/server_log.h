#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// While it lives, every handler's log lines, and those of `logServer`, go to stderr: level, the client of
/// the calling thread if it serves one, and the message, with file names escaped; or, as `Format::Json`, an
/// object of JSON a line, with the time. "debug" lines only when `verbose`. A thread of its own writes them:
/// whoever logs never waits for the reader of stderr. One at a time.
class ServerLog
{
public:
    enum class Format { Text, Json };

    explicit ServerLog(bool verbose, Format format = Format::Text);
    /// Waits a second for what is not yet written.
    ~ServerLog();
    ServerLog(const ServerLog &) = delete;
    ServerLog &operator=(const ServerLog &) = delete;
};

/// One line of the server itself. Any thread. Written at once when there is no ServerLog.
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
