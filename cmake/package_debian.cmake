# The Debian packages, one for each component.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(debian ${PROJECT_SOURCE_DIR}/packages/linux/debian)
configure_file(${debian}/changelog.in debian/changelog @ONLY)
# Adds the files that Debian wants in each package, and compresses the manual pages.
configure_file(${debian}/finish.cmake.in debian/finish.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_BINARY_DIR}/debian/finish.cmake)

# A package takes the place of its part of the one package that there was before 0.2.
macro(debian_package component name section summary description)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${description}")
    if(NOT ${component} STREQUAL runtime)
        set(CPACK_DEBIAN_${key}_PACKAGE_BREAKS "korvex (<< 0.2)")
        set(CPACK_DEBIAN_${key}_PACKAGE_REPLACES "korvex (<< 0.2)")
    endif()
    if(NOT ${component} STREQUAL development)
        set(CPACK_DEBIAN_${key}_DEBUGINFO_PACKAGE ON)
    endif()
endmacro()
debian_package(runtime korvex utils "runtime of Korvex touch-screen controllers"
    "Finds and identifies these controllers on serial ports, maps their touches
through the panel's calibration, and makes each panel a touch screen of the
kernel, or moves the pointer of an X display. Panels with a name are driven
by the system from its start on.")
debian_package(library libkorvex0 libs "library of the Korvex touch-screen runtime"
    "Finds and drives the controllers of the Korvex family, runs their panel test
and starts their calibration, for programs of your own.")
debian_package(development libkorvex-dev libdevel "development files of the Korvex touch-screen library"
    "The header of libkorvex, and its files for CMake and pkg-config.")
debian_package(emulator korvex-emulator utils "emulated Korvex touch-screen controller"
    "A controller with its panel on a pseudo-terminal, for trying and testing
without hardware. It touches by a script of gestures.")
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers") # for postinst
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "udev, systemd")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "bash-completion, korvex-emulator")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${debian}/postinst ${debian}/prerm ${debian}/postrm)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${debian}/triggers)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkorvex0 (= ${version})")
