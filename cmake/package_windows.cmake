# The .zip of the Windows build, and the installer of its programs and texts.
# The import library is made from the decorated names, which the linker looks for; the DLL exports plain ones.
file(STRINGS src/host/korvex.def exports REGEX "=kx")
list(TRANSFORM exports REPLACE ".*=([A-Za-z0-9@]+) .*" "\\1")
list(JOIN exports "\n" exports)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/import.def CONTENT "LIBRARY KORVEX.dll\nEXPORTS\n${exports}\n")
add_custom_command(OUTPUT KORVEX.lib DEPENDS ${PROJECT_BINARY_DIR}/import.def VERBATIM
    COMMAND ${CMAKE_DLLTOOL} --kill-at --input-def ${PROJECT_BINARY_DIR}/import.def --output-lib KORVEX.lib)
add_custom_target(korvex_import_library ALL DEPENDS KORVEX.lib)

# Texts as Windows has them, with a carriage return in each line, and the installer of programs and texts.
configure_file(packages/windows/README.txt.in README.txt @ONLY NEWLINE_STYLE CRLF)
set(texts ${PROJECT_BINARY_DIR}/README.txt)
foreach(text packages/windows/CALIBRATION.txt packages/windows/TROUBLESHOOTING.txt packages/windows/korvex-example.inf CHANGELOG.md)
    cmake_path(GET text FILENAME name)
    string(REPLACE .md .txt name ${name})
    add_custom_command(OUTPUT ${name} DEPENDS ${text} VERBATIM
        COMMAND sed "s/$/\\r/" ${PROJECT_SOURCE_DIR}/${text} > ${name})
    list(APPEND texts ${PROJECT_BINARY_DIR}/${name})
endforeach()
set(sign_option)
if(KORVEX_SIGN)
    set(sign_option "-DSIGN=${KORVEX_SIGN}")
endif()
find_program(MAKENSIS makensis REQUIRED)
add_custom_command(OUTPUT korvex-setup.exe DEPENDS packages/windows/korvex.nsi korvex kxconsole ${texts} VERBATIM
    COMMAND ${MAKENSIS} -V2 -WX -NOCD -DVERSION=${PROJECT_VERSION} -DICON=${PROJECT_SOURCE_DIR}/packages/windows/korvex.ico
        ${sign_option} ${PROJECT_SOURCE_DIR}/packages/windows/korvex.nsi)
add_custom_target(korvex_setup ALL DEPENDS korvex-setup.exe)

install(TARGETS korvex kxconsole RUNTIME DESTINATION .)
install(FILES ${texts} ${PROJECT_BINARY_DIR}/korvex-setup.exe DESTINATION .)
install(FILES ${PROJECT_BINARY_DIR}/KORVEX.lib DESTINATION lib)
install(FILES include/korvex/korvex.h DESTINATION include/korvex)
set(CPACK_GENERATOR ZIP)
set(CPACK_SYSTEM_NAME win32)
