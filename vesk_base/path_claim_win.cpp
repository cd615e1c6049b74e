#include "vesk_base/path_claim.h"

#include <QtCore/QByteArray>

#include <windows.h>

namespace VESK
{

// A named mutex that is never waited for: the name exists as long as one process has it open, and it goes
// with that process. "Global" makes it one for all sessions of the machine.

std::intptr_t PathClaim::open(const QByteArray &name)
{
    const HANDLE handle = CreateMutexA(nullptr, FALSE, ("Global\\" + name).constData());
    if (handle == nullptr)
        return none;
    if (GetLastError() == ERROR_ALREADY_EXISTS) {
        CloseHandle(handle);
        return none;
    }
    return reinterpret_cast<std::intptr_t>(handle);
}

void PathClaim::close(std::intptr_t object)
{
    CloseHandle(reinterpret_cast<HANDLE>(object));
}

} // namespace VESK
