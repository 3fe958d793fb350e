// The co-installer of the family's touch controller devices, which handles the device installer's
// calls for them. While a device is installed, values for the touch driver are left in its hardware
// key, and its report mode is settled; while one is removed, its children are removed first. On the
// device installer's thread. Nothing is kept between calls, and no failure inside changes a result.
#pragma once

#include "platform/win32.h"

namespace korvex {

// DIF_INSTALLDEVICE. Before the installation, ERROR_DI_POSTPROCESSING_REQUIRED: writes
// "SelectiveSuspendEnabled", "SelectiveSuspendOn" and "TabletPC", as the system and the section
// "Option" of the settings file in the system folder say. After it, NO_ERROR: settles mouse or
// tablet mode, writes "TabletPC" again, applies the double-click settings of mouse mode, requests a
// restart if one is needed, and sends the driver the mode.
DWORD HandleInstallDevice(HDEVINFO devices, SP_DEVINFO_DATA* element, BOOL postProcessing);

// DIF_REMOVE, before the removal: removes every child of the device. NO_ERROR.
DWORD HandleRemoveDevice(HDEVINFO devices, SP_DEVINFO_DATA* element);

// Makes double clicks easy for a finger: 25 pixels and 800 ms, for the current user, from the next
// logon on.
void ApplyDoubleClickSettings();

// True when the service of tablet input exists and can be opened.
bool IsTabletInputServicePresent();

} // namespace korvex
