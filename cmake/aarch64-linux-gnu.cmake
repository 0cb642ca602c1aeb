# Cross-building for AArch64 Linux on Debian; ctest runs the programs under user-mode emulation.
#
#     cmake -S . -B build-arm --toolchain cmake/aarch64-linux-gnu.cmake [-DA64_CPU=max]
#
# Debian packages: g++-aarch64-linux-gnu qemu-user, and gfortran-aarch64-linux-gnu for the module.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
find_program(CMAKE_Fortran_COMPILER aarch64-linux-gnu-gfortran)

set(A64_CPU max CACHE STRING "Processor that the emulator pretends to be (qemu-aarch64 -cpu help lists them)")
# try_run checks configure a project of their own, which must see the same processor.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES A64_CPU)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -cpu ${A64_CPU} -L /usr/aarch64-linux-gnu)

# Libraries come from the target's tree alone: a package of the build machine must not be found
# instead. Headers may also be the build machine's, for header-only packages.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
