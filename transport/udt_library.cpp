#include "transport/udt_library.h"

#include <udt/udt.h>

namespace VESK
{

UdtLibrary::UdtLibrary()
{
    UDT::startup();
}

UdtLibrary::~UdtLibrary()
{
    UDT::cleanup();
}

} // namespace VESK
