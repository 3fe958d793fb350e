# What is installed, and the packages: .deb files of the Linux build, a .zip of the Windows build. scripts/package makes them.
set(CPACK_PACKAGE_NAME korvex)
set(CPACK_PACKAGE_VENDOR Korvex)
set(CPACK_PACKAGE_CONTACT "The Korvex developers <korvex@localhost>")
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON) # an install takes what it names, not the tests
if(WIN32)
    include(cmake/package_windows.cmake)
else()
    include(cmake/install_linux.cmake)
    include(cmake/package_debian.cmake)
endif()
include(CPack)
