#include "host/server/partial_files.h"

#include "vesk_base/paths.h"

#include <QtCore/QDirIterator>

namespace VESK::Host
{

QStringList findPartialFiles(const QString &directory)
{
    QStringList found;
    QDirIterator entries(directory, QDir::Files | QDir::Hidden | QDir::NoSymLinks,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (isTemporaryName(entries.fileName()))
            found.append(path);
    }
    found.sort();
    return found;
}

} // namespace VESK::Host
