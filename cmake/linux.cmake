# libkorvex, the command `korvex`, the emulator, and what tests and measures them.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(X11 REQUIRED IMPORTED_TARGET x11 xtst xft xrandr libevdev libudev)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json 3 REQUIRED)

# Everything but the programs' main is in libraries that the tests link.
file(GLOB_RECURSE KORVEX_PLATFORM_SOURCES CONFIGURE_DEPENDS src/platform/linux/*.cpp)
file(GLOB KORVEX_COMMAND_SOURCES CONFIGURE_DEPENDS src/command/*.cpp src/drivers/*.cpp)
list(FILTER KORVEX_COMMAND_SOURCES EXCLUDE REGEX "/(main|documents_main|loaded_library)\\.cpp$")
add_library(korvex STATIC ${KORVEX_PLATFORM_SOURCES} ${KORVEX_COMMAND_SOURCES})
set_target_properties(korvex PROPERTIES OUTPUT_NAME korvex)
target_link_libraries(korvex PUBLIC korvex_core korvex_console korvex_options Threads::Threads PRIVATE korvex_emulator_library PkgConfig::X11
    CLI11::CLI11 nlohmann_json::nlohmann_json)
target_compile_definitions(korvex PRIVATE KORVEX_VERSION="${PROJECT_VERSION}")
# For the builds that compile everything; the plain one does without, because clang-tidy reads its commands.
target_precompile_headers(korvex PRIVATE <filesystem> <functional> <map> <memory> <mutex> <string> <vector>)

add_executable(korvex_command src/command/main.cpp)
set_target_properties(korvex_command PROPERTIES OUTPUT_NAME korvex)
target_link_libraries(korvex_command PRIVATE korvex)

add_library(korvex_emulator_library STATIC src/emulator/command.cpp src/emulator/distortion.cpp
    src/emulator/emulator.cpp src/emulator/gestures.cpp src/emulator/line_rate.cpp src/emulator/noise.cpp)
target_link_libraries(korvex_emulator_library PUBLIC korvex_options Threads::Threads)
target_compile_definitions(korvex_emulator_library PRIVATE KORVEX_VERSION="${PROJECT_VERSION}")

add_executable(korvex_emulator src/emulator/main.cpp)
set_target_properties(korvex_emulator PROPERTIES OUTPUT_NAME korvex-emulator)
target_link_libraries(korvex_emulator PRIVATE korvex_emulator_library)

include(CTest)
if(BUILD_TESTING)
    add_subdirectory(tests)
endif()
if(KORVEX_FUZZ)
    add_subdirectory(fuzz)
endif()
if(KORVEX_BENCH)
    add_subdirectory(bench)
endif()
