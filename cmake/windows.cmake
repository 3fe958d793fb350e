# KORVEX.dll for 32-bit Windows and KxConsole.exe, with their symbols in files of their own, and the check of their contents.
set(KORVEX_SIGN "" CACHE STRING "Command that signs the program whose path is added to it; empty: nothing is signed")
separate_arguments(sign_command UNIX_COMMAND "${KORVEX_SIGN}")
enable_language(RC)
# Nothing unwinds: the programs have no exceptions.
target_compile_options(korvex_options INTERFACE -g -fstack-protector-strong -fno-asynchronous-unwind-tables -ffunction-sections -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
target_link_options(korvex_options INTERFACE -fstack-protector-strong)
target_compile_definitions(korvex_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
target_compile_definitions(korvex_options INTERFACE _WIN32_WINNT=0x0501) # Windows XP: newer calls do not even compile

string(REPLACE "." "," KORVEX_VERSION_NUMBERS "${PROJECT_VERSION},0")
configure_file(host/korvex.rc.in korvex.rc @ONLY)
add_library(korvex SHARED host/dll_main.cpp host/machine_hook.cpp platform/windows/stack_guard.cpp host/korvex.def ${CMAKE_CURRENT_BINARY_DIR}/korvex.rc)
target_link_libraries(korvex PRIVATE korvex_core setupapi cfgmgr32 gdi32)
set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/korvex.rc PROPERTY OBJECT_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/host/korvex.manifest)
set_target_properties(korvex PROPERTIES OUTPUT_NAME KORVEX PREFIX "" LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/host/korvex.def)

# KxConsole.exe, the calibration program and the watcher of a detection, of the same code; it needs no DLL of ours.
configure_file(console/kxconsole.rc.in kxconsole.rc @ONLY)
add_executable(kxconsole WIN32 console/main.cpp console/watch.cpp console/watched_detection.cpp host/machine_hook.cpp platform/windows/stack_guard.cpp ${CMAKE_CURRENT_BINARY_DIR}/kxconsole.rc)
target_link_libraries(kxconsole PRIVATE korvex_core korvex_console setupapi cfgmgr32 gdi32)
target_compile_options(kxconsole PRIVATE -fno-exceptions -fno-rtti) # or the C++ runtime comes in, which calls what Windows XP lacks
set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/kxconsole.rc PROPERTY OBJECT_DEPENDS
    "${CMAKE_CURRENT_SOURCE_DIR}/console/kxconsole.manifest;${PROJECT_SOURCE_DIR}/packages/windows/korvex.ico")
target_link_options(kxconsole PRIVATE -Wl,--gc-sections) # without the entries and the co-installer, which it has no use for
set_target_properties(kxconsole PROPERTIES OUTPUT_NAME KxConsole)

foreach(target korvex kxconsole)
    set(file $<TARGET_FILE:${target}>)
    # 5.1 is Windows XP. Without a time stamp, so that two builds are the same.
    target_link_options(${target} PRIVATE -static -static-libgcc -static-libstdc++ -Wl,--nxcompat,--dynamicbase,--no-insert-timestamp
        -Wl,--major-subsystem-version=5,--minor-subsystem-version=1,--major-os-version=5,--minor-os-version=1)
    add_custom_command(TARGET ${target} POST_BUILD VERBATIM
        COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${file} ${file}.debug
        COMMAND ${CMAKE_STRIP} --preserve-dates ${file} # strip would write the current time
        COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-dll ${file} ${PROJECT_SOURCE_DIR}/tests/windows/${target}.contents
        COMMENT "Checking the contents of ${target}")
    if(sign_command)
        add_custom_command(TARGET ${target} POST_BUILD VERBATIM COMMAND ${sign_command} ${file})
    endif()
endforeach()
