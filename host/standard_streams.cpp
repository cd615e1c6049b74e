#include "host/standard_streams.h"

#include "host/errors.h"
#include "host/text.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace VESK::Host
{

namespace
{

void occupy(int descriptor, int flags)
{
    if (::fcntl(descriptor, F_GETFD) >= 0)
        return;
    // The lowest free descriptor is this one, since those below it are taken.
    (void)::open("/dev/null", flags); // without it, all is as it was
}

} // namespace

void occupyStandardStreams()
{
    occupy(STDIN_FILENO, O_RDONLY);
    occupy(STDOUT_FILENO, O_RDONLY); // a write to it fails, as the caller ordered
    occupy(STDERR_FILENO, O_WRONLY);
}

int exitCodeWithStdout(int exitCode)
{
    const int reason = stdoutError();
    if (exitCode != number(ExitCode::Success) || reason == 0 || reason == EPIPE)
        return exitCode;
    const QString what = QStringLiteral("cannot write to stdout: %1").arg(qt_error_string(reason));
    writeStderr(failureText({ExitCode::LocalFile, what, {}}));
    return number(ExitCode::LocalFile);
}

} // namespace VESK::Host
