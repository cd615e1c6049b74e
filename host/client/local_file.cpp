#include "host/client/local_file.h"

#include "host/client/task_errors.h"
#include "host/text.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <unistd.h>

#include <cerrno>

namespace VESK::Host
{

bool settleLocalFile(const QString &path, TaskJob *job, Failure *failure)
{
    const QString shown = escaped(path);
    const QFileInfo info(path);
    if (!info.exists()) {
        QString what =
            info.isSymLink() ? QStringLiteral("the link leads nowhere") : QStringLiteral("no such file");
        if (path.contains(QChar(QChar::ReplacementCharacter)))
            what += QStringLiteral(" (names that are not valid UTF-8 cannot be sent)");
        *failure = {ExitCode::SourceMissing, QStringLiteral("%1: %2").arg(shown, what), {}};
        return false;
    }
    if (!info.isFile()) {
        *failure = localFileFailure(shown,
                                    info.isDir() ? QStringLiteral("it is a directory; -r sends directories")
                                                 : QStringLiteral("it is no regular file"));
        return false;
    }
    // Asked and not opened: most files of a second run are not read at all.
    if (::access(QFile::encodeName(path).constData(), R_OK) != 0) {
        *failure = localFileFailure(shown, QStringLiteral("cannot read it: %1").arg(qt_error_string(errno)));
        return false;
    }
    job->localDirectory = info.absolutePath();
    job->fileName = info.fileName();
    job->size = info.size();
    return true;
}

} // namespace VESK::Host
