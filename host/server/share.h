#pragma once

#include "host/hello/rights.h"

#include <QtCore/QString>

#include <optional>

namespace VESK::Host
{

/// A directory that a server offers under a name.
struct Share {
    QString name; ///< without ":", "%" and "/", which the handler's table of shares gives a meaning
    QString directory; ///< absolute
    Rights rights = Rights();
    int fileMode = 0640; ///< of received files
    int dirMode = 0750; ///< of the directories that uploads go to
    qint64 minFree = 0; ///< bytes that uploads leave free on the disk
};

/// The share that `vesk serve DIR` offers: it bears the name of DIR's last component, with "_" in place of
/// the characters that a name cannot hold.
Share shareOfDirectory(const QString &directory);

/// Reads NAME=DIR, NAME=DIR:r, NAME=DIR:w or NAME=DIR:rw. Nothing on failure, with a sentence for a person in
/// `error`; whether the directory is there is not looked at.
std::optional<Share> parseShare(const QString &text, QString *error);

/// Why a share cannot have this name: a sentence for a person, or nothing when it can.
QString findNameFault(const QString &name);

/// The handler's table of shares for this one. The share's own directory is the mount path, so that the
/// path in the table is the same for every share and needs no characters that the table reserves.
QString applicationTable(const Share &share);

} // namespace VESK::Host
