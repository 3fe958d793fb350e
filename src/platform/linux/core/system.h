// What the system tells of itself, the comparison of texts, and the service manager.
#pragma once

#include "platform/linux/core/types.h"

using LCID = DWORD;
using SC_HANDLE = struct SC_HANDLE__*;

struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
};

// As it starts so does OSVERSIONINFOW.
struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};

struct QUERY_SERVICE_CONFIGW {
    DWORD dwServiceType;
    DWORD dwStartType;
    DWORD dwErrorControl;
    LPWSTR lpBinaryPathName;
    LPWSTR lpLoadOrderGroup;
    DWORD dwTagId;
    LPWSTR lpDependencies;
    LPWSTR lpServiceStartName;
    LPWSTR lpDisplayName;
};

inline constexpr LCID LOCALE_INVARIANT = 127;
inline constexpr DWORD NORM_IGNORECASE = 1;
inline constexpr int CSTR_LESS_THAN = 1;
inline constexpr int CSTR_EQUAL = 2;
inline constexpr int CSTR_GREATER_THAN = 3;
inline constexpr DWORD GENERIC_ALL = 0x10000000;
inline constexpr DWORD SERVICE_QUERY_CONFIG = 1;
inline constexpr DWORD SERVICE_ALL_ACCESS = 0xF01FF;
inline constexpr BYTE VER_NT_WORKSTATION = 1;
inline constexpr BYTE VER_NT_SERVER = 3;

// The version that the machine gives itself (machine.h); an OSVERSIONINFOEXW, by its size, gets the product type too.
BOOL GetVersionExW(OSVERSIONINFOW* version);

// By code units, and with NORM_IGNORECASE without regard to the case of ASCII and Latin-1 letters. Lengths in UTF-16 units, -1: up to the
// terminator. 0 with ERROR_INVALID_PARAMETER for a null text, or a locale that the machine does not know: Windows 2000 has no invariant
// one.
int CompareStringW(LCID locale, DWORD flags, LPCWSTR first, int firstLength, LPCWSTR second, int secondLength);

// The machine's Windows folder; the length without terminator, or the capacity needed when that is larger than `capacity`.
UINT GetWindowsDirectoryW(LPWSTR buffer, UINT capacity);

// A service exists when the registry holds its ImagePath, as on Windows.
SC_HANDLE OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access);
SC_HANDLE OpenServiceW(SC_HANDLE manager, LPCWSTR name, DWORD access);

// Of the configuration the binary's path is filled in; the text stands behind the record in the buffer of `size` bytes.
BOOL QueryServiceConfigW(SC_HANDLE service, QUERY_SERVICE_CONFIGW* configuration, DWORD size, DWORD* required);
BOOL CloseServiceHandle(SC_HANDLE handle);
