#include "vesk_2_0_0/handler/file_handle.h"

#include <fcntl.h>
#include <unistd.h>

namespace VESK
{

int duplicateDescriptor(int descriptor)
{
    return ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

std::FILE *openHandle(int descriptor, const char *mode)
{
    return ::fdopen(descriptor, mode);
}

void closeDescriptor(int descriptor)
{
    ::close(descriptor);
}

} // namespace VESK
