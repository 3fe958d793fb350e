# The platform layer, libkorvex, the command `korvex` and the emulator.
find_package(Threads REQUIRED GLOBAL)
pkg_check_modules(INPUT REQUIRED IMPORTED_TARGET GLOBAL libevdev libudev)
if(KORVEX_X11)
    pkg_check_modules(X11 REQUIRED IMPORTED_TARGET GLOBAL x11>=1.7 xtst xrandr cairo-xlib pangocairo)
endif()
find_package(CLI11 REQUIRED GLOBAL)
find_package(nlohmann_json 3 REQUIRED GLOBAL)

# For all: the rooms share a precompiled header, and newer pkg-config files of pango ask for it.
target_compile_options(korvex_options INTERFACE -pthread)
target_compile_definitions(korvex_options INTERFACE KORVEX_UDEV_RULES="${KORVEX_UDEV_RULES_FULL_DIR}")
add_library(korvex_platform OBJECT)
target_link_libraries(korvex_platform PUBLIC korvex_options Threads::Threads PkgConfig::INPUT $<TARGET_NAME_IF_EXISTS:PkgConfig::X11>)
# For the builds that compile everything; the plain one does without, because clang-tidy reads its
# commands.
target_precompile_headers(korvex_platform PRIVATE
    <filesystem> <functional> <map> <memory> <mutex> <string> <vector>)
add_subdirectory(platform/linux)
add_subdirectory(drivers)

# The command line of the programs.
add_library(korvex_cli STATIC)
target_link_libraries(korvex_cli PUBLIC korvex_options CLI11::CLI11)
add_subdirectory(cli)

add_library(korvex_process OBJECT)
add_library(korvex_machine OBJECT)
add_library(korvex_commands OBJECT)
foreach(target korvex_process korvex_machine korvex_commands)
    target_link_libraries(${target} PUBLIC korvex_cli Threads::Threads)
endforeach()
target_precompile_headers(korvex_process REUSE_FROM korvex_platform)
target_precompile_headers(korvex_machine REUSE_FROM korvex_platform)
target_link_libraries(korvex_commands PUBLIC nlohmann_json::nlohmann_json)
target_precompile_headers(korvex_commands PRIVATE
    <chrono> <filesystem> <functional> <map> <nlohmann/json.hpp> <optional> <string> <vector>)
foreach(room process machine control runtime command)
    add_subdirectory(${room})
endforeach()

# libkorvex.so, which shows the functions of korvex.h alone.
set(map ${PROJECT_SOURCE_DIR}/packages/linux/korvex.map)
add_library(korvex_library SHARED machine/loaded_library.cpp)
target_link_libraries(korvex_library PRIVATE korvex_core korvex_platform korvex_process korvex_machine)
set_target_properties(korvex_library PROPERTIES OUTPUT_NAME korvex EXPORT_NAME korvex VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${map})
target_include_directories(korvex_library INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_options(korvex_library PRIVATE -Wl,--version-script=${map})
if(NOT KORVEX_SANITIZE) # clang has a sanitizer's routines in the program alone
    target_link_options(korvex_library PRIVATE -Wl,--no-undefined)
endif()

add_library(korvex_emulator_library STATIC)
set_target_properties(korvex_emulator_library PROPERTIES UNITY_BUILD OFF) # no source can include both <termios.h> and <asm/termbits.h>
target_link_libraries(korvex_emulator_library PUBLIC korvex_cli Threads::Threads)
add_subdirectory(emulator)
add_executable(korvex_emulator emulator/main.cpp)
set_target_properties(korvex_emulator PROPERTIES OUTPUT_NAME korvex-emulator)
target_link_libraries(korvex_emulator PRIVATE korvex_emulator_library)

# Everything of the command but its main, which the tests link too.
add_library(korvex_all STATIC host/machine_hook.cpp)
target_link_libraries(korvex_all PUBLIC korvex_core korvex_console korvex_platform korvex_process
    korvex_machine korvex_commands korvex_emulator_library)
add_executable(korvex_command command/main.cpp)
set_target_properties(korvex_command PROPERTIES OUTPUT_NAME korvex)
target_link_libraries(korvex_command PRIVATE korvex_all)
