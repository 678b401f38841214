# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

add_compile_options(-Wall -Wextra -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual -Wundef)
if(KESTRA_WERROR)
    add_compile_options(-Werror)
endif()
if(KESTRA_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# On 32 bits, too, a file may be larger than 2 GiB, have a long inode number or be of the year 2038.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
add_compile_definitions(
    QT_NO_KEYWORDS
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_URL_CAST_FROM_STRING
    QT_DEPRECATED_WARNINGS
)
