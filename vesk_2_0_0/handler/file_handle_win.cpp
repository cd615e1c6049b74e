#include "vesk_2_0_0/handler/file_handle.h"

#include <cerrno>
#include <io.h>
#include <windows.h>

namespace VESK
{

FileHandle openHandle(int descriptor, const char *mode)
{
    const int duplicate = _dup(descriptor);
    if (duplicate == -1)
        return nullptr;
    SetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(duplicate)), HANDLE_FLAG_INHERIT, 0);
    FileHandle handle(_fdopen(duplicate, mode));
    if (!handle) {
        const int code = errno;
        _close(duplicate);
        errno = code;
    }
    return handle;
}

} // namespace VESK
