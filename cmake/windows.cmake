# KORVEX.dll for 32-bit Windows.
target_compile_definitions(korvex_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
target_compile_definitions(korvex_options INTERFACE _WIN32_WINNT=0x0501) # Windows XP: newer calls do not even compile

add_library(korvex SHARED src/host/dll_main.cpp)
target_link_libraries(korvex PRIVATE korvex_core setupapi cfgmgr32 gdi32)
set_target_properties(korvex PROPERTIES OUTPUT_NAME KORVEX PREFIX "")
target_link_options(korvex PRIVATE -static -static-libgcc -static-libstdc++)
