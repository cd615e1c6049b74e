#include "host/connection/udt_library.h"

#include <udt/udt.h>

namespace VESK::Host
{

UdtLibrary::UdtLibrary()
{
    UDT::startup();
}

UdtLibrary::~UdtLibrary()
{
    UDT::cleanup();
}

} // namespace VESK::Host
