# The packages: a .deb of the Linux build, a .zip of the Windows build. scripts/package makes both.
set(CPACK_PACKAGE_NAME korvex)
set(CPACK_PACKAGE_VENDOR Korvex)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Runtime of Korvex touch-screen controllers")
set(CPACK_PACKAGE_CONTACT "The Korvex developers <korvex@localhost>")
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON) # an install takes what it names, not the tests

if(WIN32)
    # The import library is made from the decorated names, which the linker looks for; the DLL exports plain ones.
    file(STRINGS src/host/korvex.def exports REGEX "=kx")
    list(TRANSFORM exports REPLACE ".*=([A-Za-z0-9@]+) .*" "\\1")
    list(JOIN exports "\n" exports)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/import.def CONTENT "LIBRARY KORVEX.dll\nEXPORTS\n${exports}\n")
    add_custom_command(OUTPUT KORVEX.lib DEPENDS ${PROJECT_BINARY_DIR}/import.def VERBATIM
        COMMAND ${CMAKE_DLLTOOL} --kill-at --input-def ${PROJECT_BINARY_DIR}/import.def --output-lib KORVEX.lib)
    add_custom_target(korvex_import_library ALL DEPENDS KORVEX.lib)

    configure_file(packages/windows/README.txt.in README.txt @ONLY NEWLINE_STYLE CRLF)
    install(TARGETS korvex RUNTIME DESTINATION .)
    install(FILES ${PROJECT_BINARY_DIR}/README.txt DESTINATION .)
    install(FILES ${PROJECT_BINARY_DIR}/KORVEX.lib DESTINATION lib)
    install(FILES include/korvex/korvex.h DESTINATION include/korvex)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_SYSTEM_NAME win32)
else()
    if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
        set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "" FORCE) # where the package puts everything
    endif()
    include(GNUInstallDirs)
    # libkorvex.so: the same code as the command, of which it shows the functions of korvex.h alone.
    add_library(korvex_shared SHARED src/command/loaded_library.cpp)
    target_link_libraries(korvex_shared PRIVATE korvex)
    set_target_properties(korvex_shared PROPERTIES OUTPUT_NAME korvex VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        LINK_DEPENDS ${PROJECT_SOURCE_DIR}/packages/linux/korvex.map)
    target_link_options(korvex_shared PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/packages/linux/korvex.map -Wl,--no-undefined
        -Wl,--undefined=kxENUM,--undefined=kxCoInstaller -Wl,--gc-sections)

    configure_file(packages/linux/korvex.pc.in korvex.pc @ONLY)
    # Man page and completion say what the tables of the command say.
    add_executable(korvex_documents src/command/documents_main.cpp)
    set_target_properties(korvex_documents PROPERTIES OUTPUT_NAME korvex-documents)
    target_link_libraries(korvex_documents PRIVATE korvex)
    target_compile_definitions(korvex_documents PRIVATE KORVEX_VERSION="${PROJECT_VERSION}")
    add_custom_command(OUTPUT korvex.1 korvex.bash VERBATIM DEPENDS korvex_documents packages/linux/korvex.1.in
        COMMAND korvex_documents man korvex.1 ${PROJECT_SOURCE_DIR}/packages/linux/korvex.1.in
        COMMAND korvex_documents completion korvex.bash)
    add_custom_target(korvex_texts ALL DEPENDS ${PROJECT_BINARY_DIR}/korvex.1 ${PROJECT_BINARY_DIR}/korvex.bash)
    install(TARGETS korvex_command korvex_emulator korvex_shared)
    install(FILES include/korvex/korvex.h DESTINATION include/korvex)
    install(FILES ${PROJECT_BINARY_DIR}/korvex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
    install(FILES ${PROJECT_BINARY_DIR}/korvex.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${PROJECT_BINARY_DIR}/korvex.bash DESTINATION share/bash-completion/completions RENAME korvex)
    install(FILES packages/linux/korvex.service DESTINATION lib/systemd/user)
    install(FILES packages/linux/70-korvex-usb-serial.rules packages/linux/71-korvex-uinput.rules DESTINATION share/korvex)
    install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
    install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
    set(CPACK_GENERATOR DEB)
    set(CPACK_STRIP_FILES ON)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SECTION utils)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_SUGGESTS bash-completion)
endif()
include(CPack)
