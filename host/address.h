#pragma once

#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <optional>

namespace VESK::Host
{

constexpr quint16 defaultPort = 8375; // UDP; the only port of this program

/// A place on a server: `[USER@]HOST:SHARE[/PATH]` or `vesk://[USER@]HOST[:PORT]/SHARE[/PATH]`.
struct RemoteAddress {
    QString user; ///< empty when not given
    QString host; ///< name or address, without brackets
    quint16 port = 0; ///< 0 when not given
    QString share; ///< never empty
    QString path; ///< below the share: no separator at either end, no empty, "." or ".." component
};

/// Reads both forms. An IPv6 address stands in brackets; the vesk:// form may hold %XX escapes, the other
/// is taken letter by letter. Nothing on failure, with a sentence for a person in `error`.
std::optional<RemoteAddress> parseRemoteAddress(const QString &text, QString *error);

/// Where a server listens.
struct ListenAddress {
    QString host;
    quint16 port = defaultPort; ///< 0: any free one
};

/// Reads `ADDR`, `ADDR:PORT` and `:PORT` (all IPv4 addresses); an IPv6 address stands in brackets.
/// Nothing on failure, with a sentence for a person in `error`.
std::optional<ListenAddress> parseListenAddress(const QString &text, QString *error);

} // namespace VESK::Host
