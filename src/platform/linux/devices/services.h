// The service manager. Services are entries of the registry, as on Windows.
#pragma once

#include "platform/linux/core/types.h"

using SC_HANDLE = struct SC_HANDLE__*;

struct QUERY_SERVICE_CONFIGW {
    LPWSTR lpBinaryPathName;
};

inline constexpr DWORD GENERIC_ALL = 0x10000000;
inline constexpr DWORD SERVICE_QUERY_CONFIG = 1;
inline constexpr DWORD SERVICE_ALL_ACCESS = 0xF01FF;

// A service exists when the registry holds its ImagePath, as on Windows.
SC_HANDLE OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access);
SC_HANDLE OpenServiceW(SC_HANDLE manager, LPCWSTR name, DWORD access);

// The text of the binary's path follows the record in the buffer of
// `size` bytes.
BOOL QueryServiceConfigW(
    SC_HANDLE service, QUERY_SERVICE_CONFIGW* configuration, DWORD size, DWORD* required);
BOOL CloseServiceHandle(SC_HANDLE handle);
