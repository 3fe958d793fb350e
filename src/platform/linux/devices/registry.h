// The registry as Windows has it (registry_store.h keeps it). What is set through a key is written,
// in one go, when that key is closed, and until then seen through that key alone. Without a state
// folder nothing opens.
#pragma once

#include <string_view>

#include "platform/linux/core/types.h"
#include "platform/linux/devices/registry_store.h"

using HKEY = struct HKEY__*;

// NOLINTNEXTLINE(performance-no-int-to-ptr): as Windows has it
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(uintptr_t{0x80000001});
// NOLINTNEXTLINE(performance-no-int-to-ptr): as Windows has it
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(uintptr_t{0x80000002});
inline constexpr DWORD KEY_SET_VALUE = 0x0002;
inline constexpr DWORD KEY_READ = 0x20019;
inline constexpr DWORD KEY_WRITE = 0x20006;
inline constexpr DWORD KEY_ALL_ACCESS = 0xF003F;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;

// Results are error codes; the last error is left alone.
LONG RegCreateKeyExW(HKEY parent, LPCWSTR name, DWORD reserved, LPWSTR className, DWORD options,
    DWORD access, SECURITY_ATTRIBUTES* security, HKEY* key, DWORD* disposition);
LONG RegOpenKeyExW(HKEY parent, LPCWSTR name, DWORD options, DWORD access, HKEY* key);

// `size` in bytes: the buffer's before, the value's after. A null buffer asks for the size alone;
// for one that is too small the result is ERROR_MORE_DATA. A string's size includes its terminator.
LONG RegQueryValueExW(
    HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);

// REG_SZ (data up to its terminator), REG_DWORD or REG_BINARY, through a key that was opened for
// setting values (KEY_WRITE, KEY_ALL_ACCESS), else ERROR_ACCESS_DENIED. Not for the two roots.
LONG RegSetValueExW(
    HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);

// Fails when what was set cannot be written; the key is closed all the same.
LONG RegCloseKey(HKEY key);

namespace korvex::platform {

// A key by its path from "HKLM" or "HKCU" on; it need not exist yet. Closed with RegCloseKey.
HKEY OpenRegistryPath(std::u16string_view path, DWORD access = KEY_ALL_ACCESS);

} // namespace korvex::platform
