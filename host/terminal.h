#pragma once

namespace VESK::Host
{

/// Size of a terminal in characters.
struct TerminalSize {
    int width = 80;
    int height = 24;
};

/// Is stderr a terminal whose cursor can be moved?
bool stderrIsTerminal();

/// Is stdout a terminal?
bool stdoutIsTerminal();

/// May this process write to the terminal without disturbing another one that runs in the foreground?
bool isInForeground();

/// The size of stderr's terminal at this moment; the usual one where it is not known.
TerminalSize terminalSize();

/// Do people want colours on stderr? No without a terminal, and with NO_COLOR set to anything.
bool wantsColour();

} // namespace VESK::Host
