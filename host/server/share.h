#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// A directory that a server offers under a name.
struct Share {
    QString name; ///< without ":", "%" and "/", which the handler's table of shares gives a meaning
    QString directory; ///< absolute
};

/// The share that `vesk serve DIR` offers: it bears the name of DIR's last component, with "_" in place of
/// the characters that a name cannot hold.
Share shareOfDirectory(const QString &directory);

/// The handler's table of shares for this one. The share's own directory is the mount path, so that the
/// path in the table is the same for every share and needs no characters that the table reserves.
QString applicationTable(const Share &share);

} // namespace VESK::Host
