/* The functions that KORVEX.dll (32-bit Windows) and libkorvex (Linux) export. Plain C, for C11 and
 * C++14 and later; needs no other header of Korvex and none of Windows, beside which it can be
 * included in any order. Its types are Windows' own by another name:
 *
 *   window, instance    HWND, HINSTANCE: pointers; never looked into, null will do
 *   KxChar              WCHAR: a unit of UTF-16, wchar_t on Windows; elsewhere what u"..." is made
 * of devices             HDEVINFO, a pointer uint32_t, int       DWORD and DI_FUNCTION, BOOL
 *   KORVEX_CALL         CALLBACK: the calling convention, stdcall on 32-bit Windows
 *
 * Texts end with a zero unit and stay the caller's. No function throws, and none can fail visibly
 * but where it says so.
 *
 * On Linux the first call of any of these functions sets the process's machine up, once, as the
 * command `korvex` without options does: it connects to the X display, makes the user's state
 * folder ($XDG_STATE_HOME/korvex) where it is missing, and lists the serial ports. What cannot be
 * had, a display say, is named on standard error and left out. Loading the library does nothing,
 * and no signal is handled.
 */
#ifndef KORVEX_KORVEX_H
#define KORVEX_KORVEX_H

#include <stddef.h>
#include <stdint.h>

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

/* What the device installer tells a co-installer: COINSTALLER_CONTEXT_DATA. */
typedef struct KxCoInstallerContext {
    int32_t postProcessing; /* not 0 in the second pass */
    uint32_t installResult; /* not used */
    void* privateData;      /* not used */
} KxCoInstallerContext;

/* The functions in which kxCoInstaller does something, and what it asks for after the first pass.
 */
#define KX_DIF_INSTALLDEVICE UINT32_C(0x02)
#define KX_DIF_REMOVE UINT32_C(0x05)
#define KX_ERROR_DI_POSTPROCESSING_REQUIRED UINT32_C(0xE0000226)

/* Finds and drives every controller behind a small status window. Takes the calling thread over: it
 * builds the window, runs its message loop, and ends the process with exit code 0 when the window
 * is closed. Called in a process of its own. Returns only where memory was short before anything
 * was started. */
void KORVEX_CALL kxENUM(void);

/* kxENUM in the form for rundll32, of whose four arguments none is used: but it returns at once
 * while another process of the user's session is in it or in kxPANELTESTW (on Windows with the last
 * error ERROR_ALREADY_EXISTS). */
void KORVEX_CALL kxENUMW(void* window, void* instance, KxChar* text, int show);

/* Runs the panel test over the whole screen: nine targets, each sampled 5 seconds after it is
 * shown, from which the calibration of the controller that was touched last is made and stored,
 * then a check and the panel's rating. Takes the calling thread over as kxENUM does; Escape or
 * closing the window ends the process with exit code 0. */
void KORVEX_CALL kxPANELTEST(void);

/* kxPANELTEST in the form for rundll32; it returns at once as kxENUMW does. */
void KORVEX_CALL kxPANELTESTW(void* window, void* instance, KxChar* text, int show);

/* Starts the calibration program, KxConsole.exe in the folder that the registry value "Path" of
 * HKEY_LOCAL_MACHINE\SOFTWARE\Korvex names, with the parameters "-calibration <number>", and
 * returns without waiting for it. Starts nothing, without a word, where that value cannot be read
 * or the program cannot be started. From any thread. */
void KORVEX_CALL kxCALIB(int number);

/* kxCALIB with the parameters "-calibration <text>", cut at 259 units. The other arguments are not
 * used. */
void KORVEX_CALL kxCALIBW(void* window, void* instance, KxChar* text, int show);

/* The touch devices' co-installer. Called by the device installer in its own process, with a device
 * information set, the element of the device in it (a KxDevice or an SP_DEVINFO_DATA), and a
 * context (a KxCoInstallerContext or a COINSTALLER_CONTEXT_DATA), of which only whether it is the
 * second pass is read. Acts on DIF_INSTALLDEVICE in both passes, and on DIF_REMOVE before the
 * removal; every other function passes. Result: KX_ERROR_DI_POSTPROCESSING_REQUIRED after the first
 * pass of an installation, else 0 (NO_ERROR), whatever fails.
 */
uint32_t KORVEX_CALL kxCoInstaller(uint32_t function, void* devices, void* device, void* context);

#ifdef __cplusplus
}
#endif

#endif
