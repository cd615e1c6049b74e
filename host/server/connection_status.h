#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// A connection of a server at a moment.
struct ConnectionStatus {
    QString client; ///< address and port
    QString user; ///< as the client says; empty before the hello, and without one
    qint64 seconds = 0; ///< since it was accepted
    QString operation; ///< of the running task; empty between two
    QString path; ///< of its target or source
    qint64 received = -1; ///< bytes of an upload that are here; -1: no upload
    qint64 size = -1; ///< bytes of the whole file; as above
    double roundTripMs = -1; ///< -1: not known
};

/// One line for a person, escaped.
QString statusText(const ConnectionStatus &status);

} // namespace VESK::Host
