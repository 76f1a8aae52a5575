# Cross-build for 64-bit Arm Linux with Debian's g++-aarch64-linux-gnu. Target
# programs (tests, test discovery) run under qemu-aarch64 from qemu-user with
# the cross sysroot, so ctest works unchanged on an x86-64 machine:
#   cmake -S . -B build-aarch64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(QEVO_AARCH64_PREFIX aarch64-linux-gnu)
set(QEVO_AARCH64_SYSROOT /usr/${QEVO_AARCH64_PREFIX})

set(CMAKE_C_COMPILER ${QEVO_AARCH64_PREFIX}-gcc)
set(CMAKE_CXX_COMPILER ${QEVO_AARCH64_PREFIX}-g++)
find_program(CMAKE_NM ${QEVO_AARCH64_PREFIX}-nm)

find_program(QEVO_QEMU_AARCH64 qemu-aarch64 REQUIRED)
# The guest's loader must take the cross toolchain's own libraries first. Once
# any Debian arm64 package (libc6:arm64) is installed on the host, the host's
# loader cache lists an arm64 libc under /lib/aarch64-linux-gnu, and a guest
# run with only -L would load it beside the toolchain's loader and hang. The
# guest's library path (set with -E, so the host's environment stays as it is)
# is searched before that cache.
set(CMAKE_CROSSCOMPILING_EMULATOR
    ${QEVO_QEMU_AARCH64};-L;${QEVO_AARCH64_SYSROOT};-E;LD_LIBRARY_PATH=${QEVO_AARCH64_SYSROOT}/lib)

# Libraries and headers of the target come from the cross sysroot; programs
# (cmake, bash, nm) from the host. A root given on the command line (a staging
# directory with unpacked arm64 packages) is searched as well.
list(APPEND CMAKE_FIND_ROOT_PATH ${QEVO_AARCH64_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
