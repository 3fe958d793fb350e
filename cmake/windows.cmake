# KORVEX.dll for 32-bit Windows, stripped, and the check of what it exports, imports and contains.
enable_language(RC)
target_compile_definitions(korvex_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
target_compile_definitions(korvex_options INTERFACE _WIN32_WINNT=0x0501) # Windows XP: newer calls do not even compile

string(REPLACE "." "," KORVEX_VERSION_NUMBERS "${PROJECT_VERSION},0")
configure_file(host/korvex.rc.in korvex.rc @ONLY)
add_library(korvex SHARED host/dll_main.cpp host/machine_hook.cpp host/korvex.def ${CMAKE_CURRENT_BINARY_DIR}/korvex.rc)
target_link_libraries(korvex PRIVATE korvex_core setupapi cfgmgr32 gdi32)
set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/korvex.rc PROPERTY OBJECT_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/host/korvex.manifest)
set_target_properties(korvex PROPERTIES OUTPUT_NAME KORVEX PREFIX "" LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/host/korvex.def)
target_link_options(korvex PRIVATE -static -static-libgcc -static-libstdc++ -s)

add_custom_command(TARGET korvex POST_BUILD VERBATIM
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-dll $<TARGET_FILE:korvex> ${PROJECT_SOURCE_DIR}/tests/windows/korvex.contents
    COMMENT "Checking what KORVEX.dll exports, imports and contains")

# KxConsole.exe, the calibration program, of the same code; it needs no DLL of ours.
configure_file(console/kxconsole.rc.in kxconsole.rc @ONLY)
add_executable(kxconsole WIN32 console/main.cpp host/machine_hook.cpp ${CMAKE_CURRENT_BINARY_DIR}/kxconsole.rc)
target_link_libraries(kxconsole PRIVATE korvex_core korvex_console setupapi cfgmgr32 gdi32)
target_compile_options(kxconsole PRIVATE -fno-exceptions -fno-rtti) # or the C++ runtime comes in, which calls what Windows XP lacks
set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/kxconsole.rc PROPERTY OBJECT_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/console/kxconsole.manifest)
set_target_properties(kxconsole PROPERTIES OUTPUT_NAME KxConsole)
target_link_options(kxconsole PRIVATE -static -static-libgcc -static-libstdc++ -s)
add_custom_command(TARGET kxconsole POST_BUILD VERBATIM
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-dll $<TARGET_FILE:kxconsole> ${PROJECT_SOURCE_DIR}/tests/windows/kxconsole.contents
    COMMENT "Checking what KxConsole.exe imports and contains")
