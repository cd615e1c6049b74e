# The UDT 4 library. Defines UDT::udt, the shared library: host, base and module must share the
# one copy of the library's sockets that a process may have.
find_path(UDT_INCLUDE_DIR udt/udt.h)
find_library(UDT_LIBRARY NAMES udt)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(UDT REQUIRED_VARS UDT_LIBRARY UDT_INCLUDE_DIR)
if(UDT_FOUND AND NOT TARGET UDT::udt)
    add_library(UDT::udt UNKNOWN IMPORTED)
    set_target_properties(UDT::udt PROPERTIES
        IMPORTED_LOCATION ${UDT_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${UDT_INCLUDE_DIR})
endif()
mark_as_advanced(UDT_INCLUDE_DIR UDT_LIBRARY)
