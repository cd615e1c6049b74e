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
endif()
if(VESK_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(VESK_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# What most sources include is compiled once for each library. A compiler cache does better still, and does not
# know what to do with that.
if(CMAKE_CXX_COMPILER_LAUNCHER OR CMAKE_CXX_COMPILER_ID MATCHES Clang)
    set(precompile OFF)
else()
    set(precompile ON)
endif()
option(VESK_PRECOMPILE "Precompile the headers that most sources include" ${precompile})

# No more than nearly every source includes, and what the arguments name: a large one takes longer to read than
# the headers of a small source.
function(vesk_precompile target)
    if(VESK_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE
            <QtCore/QByteArray> <QtCore/QFileInfo> <QtCore/QString> <QtCore/QStringList> <algorithm> <functional>
            <map> <memory> <mutex> <optional> <string> <vector> ${ARGN})
    endif()
endfunction()
