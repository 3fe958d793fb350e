# Toolchain: 32-bit ARM with floating point in hardware.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(QEMU qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/board.cmake)
