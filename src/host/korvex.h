// The functions that the library exports. The detection and panel test entries take the calling thread over: they build their windows, run
// its message loop and end the process, with exit code 0, when the user closes the window. Each is called in a process of its own. The
// entries whose names end in W have the form that rundll32 calls; of their arguments only the text of kxCALIBW is used.
#pragma once

#include "platform/win32.h"

extern "C" {

// Finds and drives every controller behind a small status window. kxENUMW returns at once, with the last error ERROR_ALREADY_EXISTS, while
// another process of the user's session is in it or in kxPANELTESTW.
void CALLBACK kxENUM();
void CALLBACK kxENUMW(HWND window, HINSTANCE instance, LPWSTR text, int show);

// Runs the panel test over the whole screen: nine targets, each sampled 5 seconds after it is shown, from which the calibration of the
// controller that was touched last is made and stored, then a check and the panel's rating. kxPANELTESTW returns as kxENUMW does.
void CALLBACK kxPANELTEST();
void CALLBACK kxPANELTESTW(HWND window, HINSTANCE instance, LPWSTR text, int show);

// Starts the calibration program, KxConsole.exe in the folder of the registry value "Path" of HKEY_LOCAL_MACHINE\SOFTWARE\Korvex, with the
// parameters "-calibration" and the number or the text. Starts nothing where that value is missing; returns without waiting.
void CALLBACK kxCALIB(int number);
void CALLBACK kxCALIBW(HWND window, HINSTANCE instance, LPWSTR text, int show);

// The devices' co-installer: acts on DIF_INSTALLDEVICE, in both passes, and on DIF_REMOVE before the removal. Called by the device
// installer in its own process; of the context only PostProcessing is read. ERROR_DI_POSTPROCESSING_REQUIRED before an installation, else
// NO_ERROR, whatever fails.
DWORD CALLBACK kxCoInstaller(DI_FUNCTION function, HDEVINFO devices, SP_DEVINFO_DATA* element, COINSTALLER_CONTEXT_DATA* context);
}
