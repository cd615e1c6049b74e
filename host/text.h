#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <string>

namespace VESK::Host
{

/// `text` with everything that could move a terminal's cursor or forge a log line written as an escape:
/// controls, invisible format characters and lone surrogates; a backslash is doubled. Any thread.
QString escaped(const QString &text);
QString escaped(const std::string &text); ///< of UTF-8

/// Bytes that need not be text, for people: everything but printable ASCII as "\x" and two digits, by
/// whose form it is told from the escape of a character. Any thread.
QString escapedBytes(const QByteArray &bytes);

/// The file's name that stands on the command line or in the configuration: bytes in the encoding of names.
QString givenFileName(const std::string &bytes);

/// A size in bytes for people, as in "1.4 GiB" or "512 B".
QString bytesText(qint64 bytes);

/// A speed for people, as in "35.2 MiB/s".
QString rateText(double bytesPerSecond);

/// A span of time for people, as in "4 s", "12:07" or "1:02:03".
QString durationText(double seconds);

/// "1 file", "3 files".
QString countText(qint64 count, const QString &noun);

/// Writes to stderr in one call, so that lines of several threads do not mix. Any thread.
void writeStderr(const QString &text);

/// Writes to stdout and flushes it; see stdoutError(). Any thread.
void writeStdout(const QString &text);

/// Why the first writeStdout() that failed did so (an errno); 0 when none did. Any thread.
int stdoutError();

} // namespace VESK::Host
