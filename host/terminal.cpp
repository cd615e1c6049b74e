#include "host/terminal.h"

#include <QtCore/QByteArray>

#include <sys/ioctl.h>
#include <unistd.h>

namespace VESK::Host
{

bool stderrIsTerminal()
{
    const QByteArray kind = qgetenv("TERM");
    return ::isatty(STDERR_FILENO) != 0 && !kind.isEmpty() && kind != "dumb";
}

bool stdoutIsTerminal()
{
    return ::isatty(STDOUT_FILENO) != 0;
}

bool isInForeground()
{
    const pid_t foreground = ::tcgetpgrp(STDERR_FILENO);
    return foreground < 0 || foreground == ::getpgrp();
}

TerminalSize terminalSize()
{
    TerminalSize size;
    winsize told{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &told) != 0)
        return size;
    if (told.ws_col > 0)
        size.width = told.ws_col;
    if (told.ws_row > 0)
        size.height = told.ws_row;
    return size;
}

bool wantsColour()
{
    return stderrIsTerminal() && qgetenv("NO_COLOR").isEmpty();
}

} // namespace VESK::Host
