# 32-bit ARM (Debian's armhf), compiled on another machine and run under QEMU's user emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-arm-static;-L;/usr/arm-linux-gnueabihf)
# GCC's note that parameters are passed otherwise than before GCC 7; nothing here is that old.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
