#pragma once

#include "host/hello/token.h"

#include <QtCore/QString>

#include <optional>

namespace VESK::Host
{

/// Where a server keeps its token, and a client looks for one, unless told otherwise:
/// `$XDG_CONFIG_HOME/vesk/token`, or `~/.config/vesk/token`.
QString defaultTokenFile();

/// Where a client looks for the token of one server first: `tokens/HOST` beside the default file. Empty for
/// a name that cannot be a file's.
QString hostTokenFile(const QString &host);

/// Reads a token. Nothing on failure, with a sentence for a person in `error` (escaped): the file is not
/// there, others than its owner can read it, or it does not hold a token.
std::optional<Token> readTokenFile(const QString &path, QString *error);

/// Writes a new token that only this user can read, with the directories above it. A file that appears
/// meanwhile is left as it is, and that is a success. False on failure, with a sentence in `error` (escaped).
[[nodiscard]] bool makeTokenFile(const QString &path, QString *error);

} // namespace VESK::Host
