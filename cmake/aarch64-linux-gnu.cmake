# Cross-building for AArch64 Linux on Debian; ctest runs the programs under user-mode emulation.
#
#     cmake -S . -B build-arm --toolchain cmake/aarch64-linux-gnu.cmake [-DA64_CPU=max]
#         [-DA64_ROOT=FOLDER] [-DA64_COMPILER=clang]
#
# Debian packages: g++-aarch64-linux-gnu qemu-user, and gfortran-aarch64-linux-gnu for the module.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(A64_COMPILER gcc CACHE STRING "gcc, or clang, which uses the libraries and linker of gcc")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES A64_COMPILER)
if(A64_COMPILER STREQUAL "clang")
    set(CMAKE_C_COMPILER clang)
    set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
    set(CMAKE_CXX_COMPILER clang++)
    set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
else()
    set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
    set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
endif()
find_program(CMAKE_Fortran_COMPILER aarch64-linux-gnu-gfortran)

set(A64_CPU max CACHE STRING "Processor that the emulator pretends to be (qemu-aarch64 -cpu help lists them)")
# try_run checks configure a project of their own, which must see the same processor.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES A64_CPU)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -cpu ${A64_CPU} -L /usr/aarch64-linux-gnu)

# The tool needs more libraries than the cross compiler comes with.
set(A64_ROOT "" CACHE PATH "Unpacked arm64 packages, by cmake/debian/foreign_root.sh")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES A64_ROOT)

# Libraries come from the target's tree alone: a package of the build machine must not be found
# instead. Headers may also be the build machine's, for header-only packages.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
if(A64_ROOT)
    list(APPEND CMAKE_FIND_ROOT_PATH ${A64_ROOT})
    set(A64_LIBRARIES ${A64_ROOT}/usr/lib/aarch64-linux-gnu)
    set(ENV{PKG_CONFIG_LIBDIR} ${A64_LIBRARIES}/pkgconfig:${A64_ROOT}/usr/share/pkgconfig)
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${A64_ROOT})
    set(CMAKE_EXE_LINKER_FLAGS_INIT
        "-Wl,-rpath-link,${A64_LIBRARIES} -Wl,-rpath-link,${A64_ROOT}/lib/aarch64-linux-gnu")
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -cpu ${A64_CPU} -L ${A64_ROOT})
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
