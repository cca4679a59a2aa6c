# Cross-compiles for 32-bit ARM (Debian's armhf) and runs programs under QEMU's user emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# The search path comes first: where packages for armhf are installed, too, the loader's cache names their C library,
# which is not the loader's own.
set(CMAKE_CROSSCOMPILING_EMULATOR
  /usr/bin/qemu-arm-static;-L;/usr/arm-linux-gnueabihf;-E;LD_LIBRARY_PATH=/usr/arm-linux-gnueabihf/lib)
# Switches off GCC's notes about a change of the calling convention in GCC 7; no code here is older.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
