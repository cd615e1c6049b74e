#pragma once

namespace VESK
{

/// Keeps the UDT library started for a scope. One per process, on its main thread, outliving every socket
/// and every thread that uses one.
class UdtLibrary
{
public:
    UdtLibrary();
    ~UdtLibrary();
    UdtLibrary(const UdtLibrary &) = delete;
    UdtLibrary &operator=(const UdtLibrary &) = delete;
};

} // namespace VESK
