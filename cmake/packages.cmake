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
    find_program(MAKENSIS makensis REQUIRED)
    add_custom_command(OUTPUT korvex-setup.exe DEPENDS packages/windows/korvex.nsi korvex kxconsole ${texts} VERBATIM
        COMMAND ${MAKENSIS} -V2 -WX -NOCD -DVERSION=${PROJECT_VERSION} ${PROJECT_SOURCE_DIR}/packages/windows/korvex.nsi)
    add_custom_target(korvex_setup ALL DEPENDS korvex-setup.exe)

    install(TARGETS korvex kxconsole RUNTIME DESTINATION .)
    install(FILES ${texts} ${PROJECT_BINARY_DIR}/korvex-setup.exe DESTINATION .)
    install(FILES ${PROJECT_BINARY_DIR}/KORVEX.lib DESTINATION lib)
    install(FILES include/korvex/korvex.h DESTINATION include/korvex)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_SYSTEM_NAME win32)
else()
    if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
        set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "" FORCE) # where the package puts everything
    endif()
    include(GNUInstallDirs)
    configure_file(packages/linux/korvex.pc.in korvex.pc @ONLY)
    configure_file(packages/linux/debian/changelog.in changelog.Debian @ONLY)
    configure_file(packages/linux/korvex.1.in korvex.1 @ONLY)
    configure_file(packages/linux/korvex-emulator.1.in korvex-emulator.1 @ONLY)
    # gzip as Debian requires it, without a time stamp, so that two builds are identical.
    foreach(text ${PROJECT_BINARY_DIR}/korvex.1 ${PROJECT_BINARY_DIR}/korvex-emulator.1
            ${PROJECT_SOURCE_DIR}/packages/linux/korvex.ini.5
            ${PROJECT_BINARY_DIR}/changelog.Debian ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
        cmake_path(GET text FILENAME name)
        add_custom_command(OUTPUT ${name}.gz DEPENDS ${text} COMMAND gzip -9nc ${text} > ${name}.gz)
        list(APPEND compressed ${PROJECT_BINARY_DIR}/${name}.gz)
    endforeach()
    add_custom_target(korvex_texts ALL DEPENDS ${compressed})
    install(TARGETS korvex_command korvex_emulator korvex_library)
    install(FILES include/korvex/korvex.h DESTINATION include/korvex)
    install(FILES ${PROJECT_BINARY_DIR}/korvex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
    foreach(program korvex korvex-emulator)
        install(FILES packages/linux/${program}.bash DESTINATION share/bash-completion/completions RENAME ${program})
    endforeach()
    install(FILES packages/linux/korvex.service DESTINATION lib/systemd/user)
    install(FILES packages/linux/korvex@.service DESTINATION lib/systemd/system)
    install(FILES packages/linux/72-korvex.rules DESTINATION lib/udev/rules.d)
    install(FILES packages/linux/korvex.sysusers DESTINATION lib/sysusers.d RENAME korvex.conf)
    install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
    install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
    install(FILES packages/linux/debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
    install(FILES packages/linux/debian/lintian-overrides DESTINATION share/lintian/overrides RENAME korvex)
    install(FILES ${PROJECT_BINARY_DIR}/korvex.1.gz ${PROJECT_BINARY_DIR}/korvex-emulator.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${PROJECT_BINARY_DIR}/korvex.ini.5.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 RENAME Korvex.ini.5.gz)
    install(FILES packages/linux/korvex-calibrate.desktop DESTINATION share/applications)
    install(FILES ${PROJECT_BINARY_DIR}/changelog.Debian.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})
    install(FILES ${PROJECT_BINARY_DIR}/CHANGELOG.md.gz DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME changelog.gz)
    set(CPACK_GENERATOR DEB)
    set(CPACK_STRIP_FILES ON)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
    set(CPACK_DEBIAN_PACKAGE_SECTION utils)
    string(CONCAT CPACK_DEBIAN_PACKAGE_DESCRIPTION "Finds and identifies these controllers on serial ports, maps their touches\n"
        "through the panel's calibration, and makes each panel a touch screen of the\n"
        "kernel, or moves the pointer of an X display. Panels with a name are driven\n"
        "by the system from its start on.")
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers") # for postinst
    set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "udev, systemd")
    set(CPACK_DEBIAN_PACKAGE_SUGGESTS bash-completion)
    set(debian ${PROJECT_SOURCE_DIR}/packages/linux/debian)
    set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${debian}/postinst ${debian}/prerm ${debian}/postrm ${debian}/triggers)
    set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endif()
include(CPack)
