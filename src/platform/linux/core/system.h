// The system's version, folder and metrics, and the comparison of texts.
#pragma once

#include "platform/linux/core/types.h"

using LCID = DWORD;

struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
};

// Begins with the members of OSVERSIONINFOW.
struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    BYTE wProductType;
};

inline constexpr LCID LOCALE_INVARIANT = 127;
inline constexpr DWORD NORM_IGNORECASE = 1;
inline constexpr int CSTR_LESS_THAN = 1;
inline constexpr int CSTR_EQUAL = 2;
inline constexpr int CSTR_GREATER_THAN = 3;
inline constexpr int SM_CXSCREEN = 0;
inline constexpr int SM_CYSCREEN = 1;
inline constexpr int SM_TABLETPC = 86;
inline constexpr BYTE VER_NT_WORKSTATION = 1;
inline constexpr BYTE VER_NT_SERVER = 3;

// The version that the machine reports (machine.h); an OSVERSIONINFOEXW, by its size, gets the
// product type too.
BOOL GetVersionExW(OSVERSIONINFOW* version);

// By code units, and with NORM_IGNORECASE without regard to the case of ASCII and Latin-1 letters.
// Lengths in UTF-16 units, -1: up to the terminator. 0 with ERROR_INVALID_PARAMETER for a null
// text, or a locale that the machine does not know: Windows 2000 has no invariant one.
int CompareStringW(
    LCID locale, DWORD flags, LPCWSTR first, int firstLength, LPCWSTR second, int secondLength);

// The machine's Windows folder; the length without terminator, or the capacity needed when that is
// larger than `capacity`.
UINT GetWindowsDirectoryW(LPWSTR buffer, UINT capacity);

// SM_CXSCREEN and SM_CYSCREEN, in pixels, and SM_TABLETPC, 1 for a Tablet PC; 0 for any other
// index.
int GetSystemMetrics(int index);
