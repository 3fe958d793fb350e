# Toolchain: 64-bit ARM.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(QEMU qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/board.cmake)
