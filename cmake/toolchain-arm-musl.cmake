# 32-bit ARM with musl, everything linked statically: zig as the compiler and the libraries, both
# put in place in QV_MUSL by scripts/build-arm-musl, and qemu's user emulation to run what is built.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QV_MUSL)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(CMAKE_C_COMPILER ${QV_MUSL}/tools/cc)
set(CMAKE_CXX_COMPILER ${QV_MUSL}/tools/c++)
set(CMAKE_AR ${QV_MUSL}/tools/ar)
set(CMAKE_RANLIB ${QV_MUSL}/tools/ranlib)
# For objects of link-time optimisation CMake would look for tools of a Clang of the host.
foreach(language C CXX)
    set(CMAKE_${language}_COMPILER_AR ${CMAKE_AR})
    set(CMAKE_${language}_COMPILER_RANLIB ${CMAKE_RANLIB})
endforeach()
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm)

set(CMAKE_PREFIX_PATH ${QV_MUSL}/libraries)
set(CMAKE_FIND_ROOT_PATH ${QV_MUSL}/libraries)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${QV_MUSL}/libraries/lib/pkgconfig)
