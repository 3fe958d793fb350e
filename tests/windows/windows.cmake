# Programs for Windows: the tests that need no machine, and a caller of the DLL for those that run it under Wine.
add_executable(korvex_portable_tests ${PORTABLE_TESTS} ${PROJECT_SOURCE_DIR}/src/host/machine_hook.cpp)
target_include_directories(korvex_portable_tests PRIVATE . ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(korvex_portable_tests PRIVATE korvex_core korvex_console setupapi cfgmgr32 gdi32 GTest::gmock GTest::gtest_main)
target_link_options(korvex_portable_tests PRIVATE -static)

add_executable(korvex_host windows/host.cpp)
target_link_libraries(korvex_host PRIVATE korvex_options setupapi cfgmgr32)
target_link_options(korvex_host PRIVATE -static -municode)
target_compile_options(korvex_host PRIVATE -municode)
