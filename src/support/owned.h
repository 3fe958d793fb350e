// Scoped ownership of handles and memory of the system or the C heap.
#pragma once

#include <cstdlib>

#include "platform/win32.h"

namespace korvex {

// Releases `value` with CLOSE at the end of its life. CLOSE ignores values that name nothing (null,
// INVALID_HANDLE_VALUE).
template <typename T, auto CLOSE>
struct Owned {
    T value;

    explicit Owned(T owned) : value(owned) { }
    ~Owned() { CLOSE(value); }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
};

// True for a handle that was opened: neither null nor INVALID_HANDLE_VALUE.
inline bool IsOpen(HANDLE handle)
{
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

// Closes a handle that was opened; null and INVALID_HANDLE_VALUE are left alone, as by the routines
// below.
inline void CloseIfOpen(HANDLE handle)
{
    if (IsOpen(handle))
        CloseHandle(handle);
}

// Closes a registry key.
inline void CloseKeyIfOpen(HKEY key)
{
    if (IsOpen(key))
        RegCloseKey(key);
}

// Closes a service or the service manager.
inline void CloseServiceIfOpen(SC_HANDLE service)
{
    if (service != nullptr)
        CloseServiceHandle(service);
}

// Gives a device information set back.
inline void DestroyDevicesIfOpen(HDEVINFO devices)
{
    if (IsOpen(devices))
        SetupDiDestroyDeviceInfoList(devices);
}

using OwnedHandle = Owned<HANDLE, CloseIfOpen>;
using OwnedKey = Owned<HKEY, CloseKeyIfOpen>;
using OwnedService = Owned<SC_HANDLE, CloseServiceIfOpen>;
using OwnedDevices = Owned<HDEVINFO, DestroyDevicesIfOpen>;

// Memory from malloc.
template <typename T>
using OwnedMemory = Owned<T*, free>;

} // namespace korvex
