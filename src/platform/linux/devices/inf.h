// The little of INF files that a driver's service needs.
#pragma once

#include "platform/linux/core/modules.h"
#include "platform/linux/core/types.h"

// Carries out "SECTION MODE PATH": installs the services that AddService names in the section of
// the INF file, or in the one with ".Services" after its name, and copies each service's binary
// from the INF's folder. The mode is 0 to 4, or 128 to 132; with any other nothing is
// installed.
void InstallHinfSectionW(HWND window, HMODULE instance, LPCWSTR command, int show);
