# 32-bit ARM Linux, hard-float, as on televisions. Debian's cross compiler with the sysroot that scripts/arm-sysroot makes;
# the build and the tests run programs under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(triplet arm-linux-gnueabihf)
set(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/arm-sysroot)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CXX_COMPILER_TARGET ${triplet})
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;${CMAKE_SYSROOT})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/${triplet}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
