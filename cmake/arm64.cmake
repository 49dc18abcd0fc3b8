# 64-bit Arm, built on another machine with Debian's cross compiler and run there by QEMU's user mode.
# The libraries are those of Debian's arm64 (dpkg --add-architecture arm64).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
list(APPEND CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
