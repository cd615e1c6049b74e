#pragma once

#include <QtCore/QString>

#include <optional>

namespace VESK::Host
{

/// What a user may do with a share.
struct Rights {
    bool mayRead = true; ///< download and list
    bool mayWrite = true; ///< upload and create directories
};

/// As people write it: "r", "w", "rw", and "none".
QString rightsText(const Rights &rights);

/// Reads "r", "w" and "rw"; nothing on any other text.
std::optional<Rights> parseRights(const QString &text);

/// A share as a server names it to a client.
struct OfferedShare {
    QString name;
    Rights rights;
};

} // namespace VESK::Host
