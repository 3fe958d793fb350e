# Toolchain: a Debian of another processor, which cmake/arm64.cmake and cmake/armhf.cmake name; its root is made by scripts/make-board-root.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-g++)
set(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/board-root/${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
cmake_path(NORMAL_PATH CMAKE_SYSROOT)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

# Programs of the build run under qemu.
set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU} -L ${CMAKE_SYSROOT})

# Packages: where Debian has libraries, and where dpkg-shlibdeps finds those of the architecture.
set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} ${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE})
