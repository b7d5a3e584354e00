# Cross-building for the instrument (AArch64 Linux) with Debian's cross toolchain and the arm64
# development packages installed side by side with the host's (multiarch). Programs and tests run
# under qemu-aarch64, which finds the arm64 loader and libraries in the same multiarch tree.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Libraries and their CMake packages come from the arm64 multiarch directories; header-only
# packages (nlohmann-json, CLI11) and tools from the host's.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-aarch64 CACHE FILEPATH "Runs AArch64 programs on the build machine")
