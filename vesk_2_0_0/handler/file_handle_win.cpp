#include "vesk_2_0_0/handler/file_handle.h"

#include <io.h>
#include <windows.h>

namespace VESK
{

int duplicateDescriptor(int descriptor)
{
    const int duplicate = _dup(descriptor);
    if (duplicate != -1)
        SetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(duplicate)), HANDLE_FLAG_INHERIT, 0);
    return duplicate;
}

std::FILE *openHandle(int descriptor, const char *mode)
{
    return _fdopen(descriptor, mode);
}

void closeDescriptor(int descriptor)
{
    _close(descriptor);
}

} // namespace VESK
