#pragma once

#include <QtCore/QString>

#include <cstdint>

namespace VESK
{

class Operation;

/// A file on its way out.
struct OutgoingFile {
    int socket; ///< UDT socket
    QString path;
    std::int64_t size; ///< bytes of the whole file
};

/// A file on its way in.
struct IncomingFile {
    int socket; ///< UDT socket
    QString target; ///< where the file belongs; named by log lines
    QString temporary; ///< where its bytes are received
    unsigned int openMode; ///< of the temporary file
    std::int64_t size; ///< bytes of the whole file
};

// The bulk calls of UDT around the task's stream. Both start at `position`, advance it in place, record
// where they ended under `transferEndSize`, on success and on failure, and leave no stream open. After a
// failure a pause or cancel leaves the operation through its check point; otherwise the failure is logged.

/// Sends the bytes from `position` to the end.
bool sendBulk(const Operation &op, const OutgoingFile &file, std::int64_t &position);

/// Appends the bytes from `position` to the end to the temporary file.
bool receiveBulk(const Operation &op, const IncomingFile &file, std::int64_t &position);

} // namespace VESK
