/* The functions that KORVEX.dll (32-bit Windows) and libkorvex (Linux) export. Plain C, for C11,
 * and C++14 and later. Needs no other header of Korvex and none of Windows, and can be included
 * before or after those of Windows. Its types are Windows' own under other names:
 *
 *   KxChar                      WCHAR, a unit of UTF-16: wchar_t on Windows, elsewhere the type of
 *                               the units of u"..."
 *   window, instance, devices   HWND, HINSTANCE, HDEVINFO: pointers
 *   uint32_t, int               DWORD and DI_FUNCTION, BOOL
 *   KORVEX_CALL                 CALLBACK, the calling convention: stdcall on 32-bit Windows
 *
 * Texts end with a zero unit and stay the caller's. No function throws. A function reports a
 * failure only if its comment says so.
 *
 * On Linux the first call of any of these functions sets up the process, once, as the command
 * `korvex` without options does: it connects to the X display, creates the user's state folder
 * ($XDG_STATE_HOME/korvex) if it is missing, and lists the serial ports. Whatever is not available,
 * for example the display, is named on standard error and left out. Loading the library does
 * nothing. The library handles no signal.
 */
#ifndef KORVEX_KORVEX_H
#define KORVEX_KORVEX_H

#include <stddef.h>
#include <stdint.h>

/* The version of this header and of its library. */
#define KORVEX_VERSION_MAJOR 0
#define KORVEX_VERSION_MINOR 2
#define KORVEX_VERSION_PATCH 0

#ifdef _WIN32
#define KORVEX_CALL __stdcall
typedef wchar_t KxChar;
#elif defined(__cplusplus)
#define KORVEX_CALL
typedef char16_t KxChar;
#else
#define KORVEX_CALL
typedef uint_least16_t KxChar; /* char16_t of <uchar.h> */
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A device element: SP_DEVINFO_DATA. */
typedef struct KxDevice {
    uint32_t size; /* of this record, in bytes */
    struct {
        uint32_t data1;
        uint16_t data2;
        uint16_t data3;
        uint8_t data4[8];
    } setupClass;
    uint32_t instance; /* the device node's handle */
    uintptr_t reserved;
} KxDevice;

/* The context of a co-installer: COINSTALLER_CONTEXT_DATA. */
typedef struct KxCoInstallerContext {
    int32_t postProcessing; /* not 0 in the second pass */
    uint32_t installResult; /* not used */
    void* privateData;      /* not used */
} KxCoInstallerContext;

/* The functions on which kxCoInstaller acts, and its request for a second pass. */
#define KX_DIF_INSTALLDEVICE UINT32_C(0x02)
#define KX_DIF_REMOVE UINT32_C(0x05)
#define KX_ERROR_DI_POSTPROCESSING_REQUIRED UINT32_C(0xE0000226)

/* Finds and drives every controller until its small status window is closed.
 * Thread: takes over the calling thread. It creates the window, runs its message loop, and ends the
 * process with exit code 0 when the window is closed. Call it in a process of its own.
 * Errors: returns only if there was not enough memory to start. */
void KORVEX_CALL kxENUM(void);

/* kxENUM in the form for rundll32; none of the four arguments is used. Returns at once while
 * another process of the user's session runs it or kxPANELTESTW (on Windows with the last error
 * ERROR_ALREADY_EXISTS). */
void KORVEX_CALL kxENUMW(void* window, void* instance, KxChar* text, int show);

/* Runs the panel test over the whole screen: nine targets, each sampled 5 seconds after it is
 * shown. They make the calibration of the controller that was touched last, which is stored; then
 * follow a check and the panel's rating. Thread: takes over the calling thread, as kxENUM does.
 * Escape, or closing the window, ends the process with exit code 0. */
void KORVEX_CALL kxPANELTEST(void);

/* kxPANELTEST in the form for rundll32. Returns at once in the same cases as kxENUMW. */
void KORVEX_CALL kxPANELTESTW(void* window, void* instance, KxChar* text, int show);

/* Starts the calibration program with the parameters "-calibration <number>", and returns without
 * waiting for it. The program is KxConsole.exe in the folder in the registry value "Path" of
 * HKEY_LOCAL_MACHINE\SOFTWARE\Korvex.
 * Thread: any.
 * Errors: starts nothing, and does not report it, if that value cannot be read or the program
 * cannot be started. */
void KORVEX_CALL kxCALIB(int number);

/* kxCALIB with the parameters "-calibration <text>", cut at 259 units. The other arguments are not
 * used. */
void KORVEX_CALL kxCALIBW(void* window, void* instance, KxChar* text, int show);

/* The co-installer of the touch devices, called by the device installer in its own process.
 * `devices` is a device information set, `device` its element for the device (a KxDevice or an
 * SP_DEVINFO_DATA), `context` a KxCoInstallerContext or a COINSTALLER_CONTEXT_DATA, of which only
 * postProcessing is read. Acts on KX_DIF_INSTALLDEVICE in both passes, and on KX_DIF_REMOVE before
 * the removal; does nothing for every other function.
 * Returns KX_ERROR_DI_POSTPROCESSING_REQUIRED after the first pass of an installation, otherwise 0
 * (NO_ERROR).
 * Errors: none are reported. */
uint32_t KORVEX_CALL kxCoInstaller(uint32_t function, void* devices, void* device, void* context);

#ifdef __cplusplus
}
#endif

#endif
