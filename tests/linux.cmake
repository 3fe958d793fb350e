# The commands that the tests start; those of another processor are scripts that run them under qemu.
set(command_folder $<TARGET_FILE_DIR:korvex_command>)
if(CMAKE_CROSSCOMPILING)
    set(command_folder ${CMAKE_CURRENT_BINARY_DIR}/qemu)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" qemu)
    foreach(target korvex_command korvex_emulator)
        file(GENERATE OUTPUT ${command_folder}/$<TARGET_FILE_NAME:${target}>
            CONTENT "#!/bin/sh\nexec '${qemu}' '$<TARGET_FILE:${target}>' \"$@\"\n" FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    endforeach()
endif()

add_library(korvex_testing STATIC
    testing/process.cpp
    testing/screen.cpp)
target_include_directories(korvex_testing PUBLIC . ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(korvex_testing PUBLIC korvex_all)
target_compile_definitions(korvex_testing PUBLIC
    KORVEX_COMMAND="${command_folder}/$<TARGET_FILE_NAME:korvex_command>" EMULATOR_COMMAND="${command_folder}/$<TARGET_FILE_NAME:korvex_emulator>")

add_executable(korvex_tests ${PORTABLE_TESTS}
    calibration/calibration_test.cpp
    discovery/co_installer_test.cpp
    discovery/detection_pass_test.cpp
    discovery/enumerator_binding_test.cpp
    host/host_test.cpp
    host/panel_test_test.cpp
    input/session_test.cpp
    input/touch_report_test.cpp
    link/command_protocol_test.cpp
    link/port_link_test.cpp
    link/driver_requests_test.cpp
    platform/files_test.cpp
    platform/pointer_test.cpp
    platform/port_scan_test.cpp
    platform/profile_test.cpp
    platform/serial_test.cpp
    platform/smoothing_test.cpp
    platform/windows_test.cpp
    console/calibration_page_test.cpp
    console/exactness_test.cpp
    command/calibrate_test.cpp
    command/command_test.cpp
    runtime/control_test.cpp
    runtime/port_return_test.cpp
    command/diagnosis_test.cpp
    command/documents_test.cpp
    command/detection_test.cpp
    command/recording/recordings_test.cpp
    support/debug_trace_test.cpp)
target_link_libraries(korvex_tests PRIVATE korvex_testing nlohmann_json::nlohmann_json GTest::gmock GTest::gtest_main)
target_precompile_headers(korvex_tests PRIVATE <gmock/gmock.h> <gtest/gtest.h> <nlohmann/json.hpp> <filesystem> <string> <thread> <vector>)
target_compile_definitions(korvex_tests PRIVATE SOURCE_FOLDER="${PROJECT_SOURCE_DIR}" RECORDINGS_FOLDER="${CMAKE_CURRENT_SOURCE_DIR}/recordings"
    STATUS_WINDOW_SCREENSHOT="${PROJECT_BINARY_DIR}/status-window.png")
add_dependencies(korvex_tests korvex_command korvex_emulator)

# Tests whose name says "Within" measure real time: nothing runs beside them.
set(timed "*Within*")
if(CMAKE_CROSSCOMPILING)
    # Not under qemu: it has a different speed, the system sees it instead of the program, and it uses descriptors of its own.
    string(CONCAT not_under_qemu ":SaveCalibrationFile.LeavesTheOldOrTheNewCalibrationWhenItIsKilled"
        ":KorvexEnum.SendsNoByteToAPortThatIsNotNamed:KorvexEnum.IsNeverUpSilentlyWithTooFewDescriptors")
else()
    # ThreadSanitizer of this compiler needs memory where it expects it, so address space randomisation is off.
    set_property(TARGET korvex_tests PROPERTY CROSSCOMPILING_EMULATOR env
        TSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/thread_sanitizer.supp
        LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/leak_sanitizer.supp:print_suppressions=0
        setarch -R)
    gtest_discover_tests(korvex_tests TEST_FILTER "${timed}" PROPERTIES TIMEOUT 60 RUN_SERIAL TRUE DISCOVERY_TIMEOUT 30)
endif()
set(longest "Documents.HaveCommandsThatWork") # starts first, or it would end long after all others
gtest_discover_tests(korvex_tests TEST_FILTER "${longest}" PROPERTIES TIMEOUT 120 COST 100 DISCOVERY_TIMEOUT 30)
gtest_discover_tests(korvex_tests TEST_FILTER "-${timed}:${longest}${not_under_qemu}" PROPERTIES TIMEOUT 120 DISCOVERY_TIMEOUT 30)

# The library itself.
if(NOT CMAKE_CROSSCOMPILING)
    add_executable(korvex_library_program library/program.cpp)
    target_link_libraries(korvex_library_program PRIVATE korvex_options korvex_library)
    add_test(NAME Library.SetsUpItsMachineAndTakesCalls COMMAND setarch -R $<TARGET_FILE:korvex_library_program>)
    set_property(TEST Library.SetsUpItsMachineAndTakesCalls PROPERTY ENVIRONMENT DISPLAY= XDG_STATE_HOME=${CMAKE_CURRENT_BINARY_DIR}/library-state
        TSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/thread_sanitizer.supp)
endif()

# The DLL itself, under Wine, from the Windows build.
set(KORVEX_WINDOWS_BUILD "" CACHE PATH "Where KORVEX.dll and its test programs have been built")
if(KORVEX_WINDOWS_BUILD)
    add_executable(korvex_dll_tests windows/dll_test.cpp)
    target_link_libraries(korvex_dll_tests PRIVATE korvex_testing GTest::gmock GTest::gtest_main)
    target_compile_definitions(korvex_dll_tests PRIVATE KORVEX_WINDOWS_BUILD="${KORVEX_WINDOWS_BUILD}"
        WINE_COMMAND="${PROJECT_SOURCE_DIR}/scripts/wine" MODEM_LINES_SOURCE="${CMAKE_CURRENT_SOURCE_DIR}/windows/modem_lines.c")
    gtest_discover_tests(korvex_dll_tests PROPERTIES TIMEOUT 120 DISCOVERY_TIMEOUT 30)
endif()

# Run by scripts/test-machine, inside of its machine.
add_executable(korvex_machine_probe machine/probe.cpp)
target_link_libraries(korvex_machine_probe PRIVATE korvex_all)
target_include_directories(korvex_machine_probe PRIVATE ${PROJECT_SOURCE_DIR}/src)
