# Cross-compiles for 32-bit ARM (Debian's armhf) and runs programs under QEMU's user emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-arm-static;-L;/usr/arm-linux-gnueabihf)
# Switches off GCC's notes about a change of the calling convention in GCC 7; no code here is older.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
