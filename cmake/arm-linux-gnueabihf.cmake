# Cross build for the recorder: 32-bit ARM Linux, hard-float ABI, with
# Debian's arm-linux-gnueabihf tool chain. Test programs run under qemu-user
# on the build machine; -L lets it find the ARM C and C++ libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(PTZ_CROSS_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${PTZ_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${PTZ_CROSS_TRIPLE}-g++)
# GCC notes every by-value std::pair argument whose ABI changed in GCC 7.1;
# all of the daemon is built with the same compiler, so the notes are noise.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
# The tool chain's own root, then the machine's root for Debian's multiarch
# armhf packages (libcivetweb-dev:armhf and the like): their libraries live
# in /usr/lib/${PTZ_CROSS_TRIPLE}, which the library architecture below
# makes the only library directory searched there, so no amd64 library is
# picked; their headers are the shared /usr/include.
set(CMAKE_FIND_ROOT_PATH /usr/${PTZ_CROSS_TRIPLE} /)
set(CMAKE_LIBRARY_ARCHITECTURE ${PTZ_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(PTZ_QEMU_ARM qemu-arm)
if(PTZ_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PTZ_QEMU_ARM} -L /usr/${PTZ_CROSS_TRIPLE})
endif()
