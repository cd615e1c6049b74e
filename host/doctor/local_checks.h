#pragma once

#include "host/doctor/finding.h"

#include <QtCore/QtGlobal>

namespace VESK::Host
{

// What can be seen without any server. The judge... functions are pure, and take sizes in bytes.

/// The kernel's limits of UDP buffers: net.core.rmem_max and wmem_max, -1 where not known.
Finding judgeKernelBuffers(qint64 receiveLimit, qint64 sendLimit);
Finding checkKernelBuffers();

/// The limits of open files, the one in force and the one up to which it may be raised.
Finding judgeOpenFiles(quint64 softLimit, quint64 hardLimit);
Finding checkOpenFiles();

/// Can the handler module be loaded? `path` as of --module.
Finding checkModule(const QString &path);

/// A directory that downloads would go to.
struct DiskFacts {
    QString directory; ///< escaped
    QString fileSystem; ///< "ext4", "vfat", ...; empty when not known
    qint64 freeBytes = -1; ///< for this user; -1 when not known
    bool isThere = true;
    bool isWritable = true;
};
Finding judgeDisk(const DiskFacts &facts);
Finding checkDisk(const QString &directory);

/// Links below a directory that lead back to a directory above themselves. Looks for some seconds at most.
Finding checkLinks(const QString &directory);

} // namespace VESK::Host
