#include "vesk_2_0_0/handler/file_handle.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace VESK
{

FileHandle openHandle(int descriptor, const char *mode)
{
    const int duplicate = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (duplicate == -1)
        return nullptr;
    FileHandle handle(::fdopen(duplicate, mode));
    if (!handle) {
        const int code = errno;
        ::close(duplicate);
        errno = code;
    }
    return handle;
}

} // namespace VESK
