# What every target of this project is compiled with; link `vesk_options` privately to get it.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(vesk_options INTERFACE)
target_compile_options(vesk_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Woverloaded-virtual
    -Wnon-virtual-dtor -Werror)
target_compile_definitions(vesk_options INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING QT_DEPRECATED_WARNINGS)

if(VESK_SANITIZE)
    # Reports need line numbers and no more; full debug information would take a quarter of the build's time.
    add_compile_options(-fsanitize=${VESK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1)
    add_link_options(-fsanitize=${VESK_SANITIZE})
    if(VESK_SANITIZE MATCHES address)
        # The checks have 600,000 addresses to relocate, a quarter of the processor time of each start otherwise.
        add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
    endif()
endif()
if(VESK_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(VESK_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# What many sources include is read once instead of for each of them. A compiler cache does better still, and
# does not know what to do with precompiled headers.
if(CMAKE_CXX_COMPILER_LAUNCHER OR CMAKE_CXX_COMPILER_ID MATCHES Clang)
    set(read_once OFF)
else()
    set(read_once ON)
endif()
option(VESK_READ_HEADERS_ONCE "Precompile headers, and compile several sources at a time"
    ${read_once})

# No more than nearly every source includes: a large one takes longer to read than the headers of a small source.
function(vesk_precompile target)
    if(VESK_READ_HEADERS_ONCE)
        target_precompile_headers(${target} PRIVATE
            <QtCore/QByteArray> <QtCore/QFileInfo> <QtCore/QString> <QtCore/QStringList> <algorithm> <functional>
            <map> <memory> <mutex> <optional> <string> <vector>)
    endif()
endfunction()

# For sources whose headers take longer than their code, as many of them at a time as a number says. No two may
# give one name to things of their own.
function(vesk_compile_together target sources)
    if(VESK_READ_HEADERS_ONCE)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${sources})
    endif()
endfunction()
