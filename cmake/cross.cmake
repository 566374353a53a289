# Toolchain for another system, as scripts/cross uses it: the Zig compiler's C and C++ driver has the system's headers
# and the symbols of its C library.
#   VN_ZIG            the compiler
#   VN_CROSS_TARGET   processor and system: x86_64-openbsd
#   VN_CROSS_ROOT     below it include and lib of what the agent needs besides the C library
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VN_ZIG VN_CROSS_TARGET VN_CROSS_ROOT)

string(REGEX MATCH "^(.*)-(.*)$" VN_CROSS_PARTS ${VN_CROSS_TARGET})
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_MATCH_1})
set(VN_CROSS_SYSTEMS openbsd OpenBSD freebsd FreeBSD netbsd NetBSD)
list(FIND VN_CROSS_SYSTEMS ${CMAKE_MATCH_2} VN_CROSS_INDEX)
math(EXPR VN_CROSS_INDEX "${VN_CROSS_INDEX} + 1")
list(GET VN_CROSS_SYSTEMS ${VN_CROSS_INDEX} CMAKE_SYSTEM_NAME)

set(CMAKE_C_COMPILER ${VN_ZIG} cc -target ${VN_CROSS_TARGET})
set(CMAKE_CXX_COMPILER ${VN_ZIG} c++ -target ${VN_CROSS_TARGET})
foreach(language C CXX)
    set(CMAKE_${language}_ARCHIVE_CREATE "${VN_ZIG} ar qc <TARGET> <OBJECTS>")
    set(CMAKE_${language}_ARCHIVE_APPEND "${VN_ZIG} ar q <TARGET> <OBJECTS>")
    set(CMAKE_${language}_ARCHIVE_FINISH "${VN_ZIG} ranlib <TARGET>")
endforeach()

# All of it can go into a program that is loaded anywhere.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Nothing of this machine's own.
set(CMAKE_FIND_ROOT_PATH ${VN_CROSS_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
