; korvex-setup.exe: programs and texts in a folder of programs, the registry's "Path", start menu entries, and an uninstaller. With /S it
; asks nothing; /AUTOSTART has the watcher start at each logon; /D=FOLDER, as the last word, names another folder. makensis runs in the folder of the files, with VERSION defined.
Unicode true
!include FileFunc.nsh
!include LogicLib.nsh
!include Sections.nsh
!include WinMessages.nsh
!include x64.nsh

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Korvex"
; What Windows starts at each logon, and kiosk shells as well: programs for everybody.
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
; The calibration belongs to the screen, not to whoever has measured it: all entries start here, where every user may write.
!define DATA "$APPDATA\Korvex"
!define MENU "$SMPROGRAMS\Korvex"
!define ELEVATION_REQUIRED 740 ; ERROR_ELEVATION_REQUIRED
!define NOT_ALL_DONE 1
!define REBOOT_REQUIRED 3010 ; ERROR_SUCCESS_REBOOT_REQUIRED
!define FILE_ATTRIBUTE_REPARSE_POINT 0x400
!define SYNCHRONIZE 0x100000
!define SDDL_REVISION_1 1
!define OWNER_AND_DACL 5 ; OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION

Name "Korvex ${VERSION}"
OutFile korvex-setup.exe
InstallDir "$PROGRAMFILES\Korvex"
InstallDirRegKey HKLM "${UNINSTALL_KEY}" InstallLocation
RequestExecutionLevel admin
ManifestSupportedOS all
ManifestDPIAware true
AllowSkipFiles off
SetCompressor /SOLID lzma
SetDateSave off ; so that two builds are the same
Icon "${ICON}"
UninstallIcon "${ICON}"
!ifdef SIGN
!finalize '${SIGN} "%1"'
!uninstfinalize '${SIGN} "%1"'
!endif
VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName Korvex
VIAddVersionKey FileDescription "Korvex setup"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey LegalCopyright "The Korvex developers"

Var DetectionClosed
Var WatcherClosed
Var WatcherOptions

Page components
Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

; What stands in the folder of programs, beside the uninstaller.
!macro ForEachFile ACTION
    !insertmacro ${ACTION} KORVEX.dll
    !insertmacro ${ACTION} KxConsole.exe
    !insertmacro ${ACTION} README.txt
    !insertmacro ${ACTION} CALIBRATION.txt
    !insertmacro ${ACTION} TROUBLESHOOTING.txt
    !insertmacro ${ACTION} CHANGELOG.txt
!macroend
; A file in use can be renamed, and is then in nobody's way; it goes when Windows starts again, and no newer file with it.
!macro Remove FILE
    Delete "$INSTDIR\${FILE}.old"
    ClearErrors
    Delete "$INSTDIR\${FILE}"
    ${If} ${Errors}
        Rename "$INSTDIR\${FILE}" "$INSTDIR\${FILE}.old"
        Delete /REBOOTOK "$INSTDIR\${FILE}.old"
    ${EndIf}
!macroend
!macro Add FILE
    !insertmacro Remove "${FILE}"
    File "${FILE}"
!macroend

; Windows XP starts this without administrator's rights too.
!macro Prepare
    SetShellVarContext all
    UserInfo::GetAccountType
    Pop $0
    ${If} $0 != Admin
        MessageBox MB_OK|MB_ICONSTOP "Administrator's rights are needed." /SD IDOK
        SetErrorLevel ${ELEVATION_REQUIRED}
        Quit
    ${EndIf}
!macroend

; What is still in use goes when Windows starts again.
!macro TellOfReboot
    ${If} ${RebootFlag}
        SetErrorLevel ${REBOOT_REQUIRED}
    ${EndIf}
!macroend

; Closes the program of this session that has a window of this class, and waits for its end. CLOSED is 1 if there is one, else 0.
!macro CloseProgram CLASS CLOSED
    StrCpy ${CLOSED} 0
    FindWindow $0 ${CLASS} "Korvex Touch Solutions"
    ${If} $0 <> 0
        StrCpy ${CLOSED} 1
        System::Call 'user32::GetWindowThreadProcessId(p r0, *i .r1)'
        System::Call 'kernel32::OpenProcess(i ${SYNCHRONIZE}, i 0, i r1) p.r1'
        System::Call 'user32::PostMessage(p r0, i ${WM_CLOSE}, p 0, p 0)'
        System::Call 'kernel32::WaitForSingleObject(p r1, i 10000)'
        System::Call 'kernel32::CloseHandle(p r1)'
    ${EndIf}
!macroend

; Closes a running watcher with its detection, and any other detection: so the new files are used at once.
!macro CloseDetection
    !insertmacro CloseProgram kxWatch $WatcherClosed
    !insertmacro CloseProgram kxSetup $DetectionClosed
!macroend

; The view of the registry that the shell reads, which on 64-bit Windows is not this program's.
!macro OpenRunKey
    ${If} ${RunningX64}
        SetRegView 64
    ${EndIf}
!macroend

Section Korvex MAIN
    SectionIn RO
    !insertmacro CloseDetection
    ; One installation at a time: that of another folder goes first.
    ReadRegStr $2 HKLM "${UNINSTALL_KEY}" InstallLocation
    ${If} $2 != ""
    ${AndIf} $2 != $INSTDIR
        ExecWait '"$2\uninstall.exe" /S _?=$2'
        Delete "$2\uninstall.exe"
        RMDir "$2"
    ${EndIf}
    SetOutPath "$INSTDIR"
    !insertmacro ForEachFile Add
    WriteUninstaller "$INSTDIR\uninstall.exe"
    !insertmacro TellOfReboot ; what fails from here on counts more

    ; Users may add files and change them (read, write and delete, not run); system and administrators may do everything. A detection with
    ; administrator's rights installs the enumerator by KXSERENUM.inf of its folder, which therefore nobody else may put here.
    ; Any user can have made that folder, or a link of that name to another one, whose rights would be changed.
    CreateDirectory "${DATA}"
    System::Call 'kernel32::GetFileAttributes(t "${DATA}") i.r1'
    IntOp $1 $1 & ${FILE_ATTRIBUTE_REPARSE_POINT}
    ${If} $1 <> 0
        MessageBox MB_OK|MB_ICONSTOP "${DATA} is a link; remove it and install again." /SD IDOK
        SetErrorLevel ${NOT_ALL_DONE}
        Quit
    ${EndIf}
    StrCpy $1 "O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;;0x1200ab;;;BU)(A;OIIO;0x13019f;;;BU)"
    System::Call 'advapi32::ConvertStringSecurityDescriptorToSecurityDescriptor(t r1, i ${SDDL_REVISION_1}, *p .r0, p 0)'
    System::Call 'advapi32::SetFileSecurity(t "${DATA}", i ${OWNER_AND_DACL}, p r0) i.r1'
    System::Call 'kernel32::LocalFree(p r0)'
    ${If} $1 = 0
        MessageBox MB_OK|MB_ICONEXCLAMATION "Only administrators can calibrate: the rights of ${DATA} cannot be set." /SD IDOK
        SetErrorLevel ${NOT_ALL_DONE}
    ${EndIf}
    Delete "${DATA}\KXSERENUM.inf" ; a file that somebody has prepared
    CreateDirectory "${DATA}\KXSERENUM.inf"
    ${IfNot} ${FileExists} "${DATA}\KXSERENUM.inf\*.*"
        SetErrorLevel ${NOT_ALL_DONE}
    ${EndIf}

    ; The 32-bit rundll32: on 64-bit Windows it has a folder of its own, elsewhere the call gives nothing.
    System::Call 'kernel32::GetSystemWow64Directory(t .r0, i ${NSIS_MAX_STRLEN}) i.r1'
    ${If} $1 = 0
        StrCpy $0 $SYSDIR
    ${EndIf}
    CreateDirectory "${MENU}"
    SetOutPath "${DATA}" ; where the entries start
    CreateShortcut "${MENU}\Touch detection.lnk" "$0\rundll32.exe" '"$INSTDIR\KORVEX.dll",kxENUM' "$INSTDIR\KxConsole.exe"
    CreateShortcut "${MENU}\Watched touch detection.lnk" "$INSTDIR\KxConsole.exe" "-watch"
    CreateShortcut "${MENU}\Panel test.lnk" "$0\rundll32.exe" '"$INSTDIR\KORVEX.dll",kxPANELTEST' "$INSTDIR\KxConsole.exe"
    ; Not through kxCALIB, which opens the registry key for writing: for that administrator's rights are needed.
    CreateShortcut "${MENU}\Calibration.lnk" "$INSTDIR\KxConsole.exe" "-calibration 9"

    WriteRegStr HKLM SOFTWARE\Korvex Path "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL_KEY}" DisplayName "Korvex ${VERSION}"
    WriteRegStr HKLM "${UNINSTALL_KEY}" DisplayVersion "${VERSION}"
    WriteRegStr HKLM "${UNINSTALL_KEY}" Publisher Korvex
    WriteRegStr HKLM "${UNINSTALL_KEY}" InstallLocation "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL_KEY}" UninstallString '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKLM "${UNINSTALL_KEY}" QuietUninstallString '"$INSTDIR\uninstall.exe" /S'
    WriteRegStr HKLM "${UNINSTALL_KEY}" DisplayIcon "$INSTDIR\KxConsole.exe"
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" EstimatedSize $0
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" NoModify 1
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" NoRepair 1
    !insertmacro OpenRunKey
    DeleteRegValue HKLM "${RUN_KEY}" Korvex ; the next section writes it again
    SetRegView lastused
    ; With the rights of who is logged in, not with the installer's.
    ${IfNot} ${Silent}
        ${If} $WatcherClosed = 1
            Exec '"$WINDIR\explorer.exe" "${MENU}\Watched touch detection.lnk"'
        ${ElseIf} $DetectionClosed = 1
            Exec '"$WINDIR\explorer.exe" "${MENU}\Touch detection.lnk"'
        ${EndIf}
    ${EndIf}
SectionEnd

Section /o "Start at each logon" AUTOSTART
    !insertmacro OpenRunKey
    WriteRegStr HKLM "${RUN_KEY}" Korvex '"$INSTDIR\KxConsole.exe"$WatcherOptions'
    SetRegView lastused
SectionEnd

; An installation that starts at each logon keeps doing so, with the options that somebody has added after the quoted program: ports that
; are to be left out, for example.
Function .onInit
    !insertmacro Prepare
    StrCpy $WatcherOptions " -watch"
    !insertmacro OpenRunKey
    ReadRegStr $0 HKLM "${RUN_KEY}" Korvex
    SetRegView lastused
    ${If} $0 != ""
        !insertmacro SelectSection ${AUTOSTART}
        StrLen $2 $0
        ${For} $1 1 $2 ; after the first quote
            StrCpy $3 $0 1 $1
            ${If} $3 == '"'
                IntOp $1 $1 + 1
                StrCpy $WatcherOptions $0 "" $1
                ${Break}
            ${EndIf}
        ${Next}
    ${EndIf}
    ${GetParameters} $1
    ClearErrors
    ${GetOptions} $1 /AUTOSTART $2
    ${IfNot} ${Errors}
        !insertmacro SelectSection ${AUTOSTART}
    ${EndIf}
FunctionEnd

Function un.onInit
    !insertmacro Prepare
FunctionEnd

; Takes away what the installation has put there; Korvex.ini stays.
Section Uninstall
    !insertmacro CloseDetection
    !insertmacro ForEachFile Remove
    !insertmacro Remove uninstall.exe
    RMDir /REBOOTOK "$INSTDIR"
    ; What another folder's installation has put there since is not this one's.
    ReadRegStr $0 HKLM SOFTWARE\Korvex Path
    ${If} $0 == $INSTDIR
        Delete "${MENU}\Touch detection.lnk"
        Delete "${MENU}\Watched touch detection.lnk"
        Delete "${MENU}\Panel test.lnk"
        Delete "${MENU}\Calibration.lnk"
        RMDir "${MENU}"
        RMDir "${DATA}\KXSERENUM.inf"
        RMDir "${DATA}" ; where nobody has calibrated
        DeleteRegValue HKLM SOFTWARE\Korvex Path
        DeleteRegKey /ifempty HKLM SOFTWARE\Korvex
        DeleteRegKey HKLM "${UNINSTALL_KEY}"
        !insertmacro OpenRunKey
        DeleteRegValue HKLM "${RUN_KEY}" Korvex
        SetRegView lastused
    ${EndIf}
    !insertmacro TellOfReboot
SectionEnd
