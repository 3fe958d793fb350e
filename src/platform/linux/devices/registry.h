// The registry. It is kept, as readable text, in "registry.ini" in the machine's state folder (machine.h); without one nothing opens.
// Names match without regard to case. What is set through a key shows through other keys once that key is closed, and is written then in
// one go. Processes lose nothing of each other's; a power cut can take back the last changes, as on Windows, and the next detecting pass
// makes up for them.
#pragma once

#include "platform/linux/core/types.h"

using HKEY = struct HKEY__*;

inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(uintptr_t{0x80000001}); // NOLINT(performance-no-int-to-ptr): as Windows has it
inline const HKEY HKEY_LOCAL_MACHINE
    = reinterpret_cast<HKEY>(uintptr_t{0x80000002}); // NOLINT(performance-no-int-to-ptr): as Windows has it
inline constexpr DWORD KEY_WRITE = 0x20006;
inline constexpr DWORD KEY_ALL_ACCESS = 0xF003F;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;

// Results are error codes; the last error is left alone.
LONG RegCreateKeyExW(HKEY parent, LPCWSTR name, DWORD reserved, LPWSTR className, DWORD options, DWORD access,
    SECURITY_ATTRIBUTES* security, HKEY* key, DWORD* disposition);
LONG RegOpenKeyExW(HKEY parent, LPCWSTR name, DWORD options, DWORD access, HKEY* key);

// `size` in bytes: the buffer's before, the value's after. A null buffer asks for the size alone; one that is too small gives
// ERROR_MORE_DATA. A string's size counts its terminator.
LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);

// REG_SZ (data up to its terminator), REG_DWORD or REG_BINARY. Not for the two roots.
LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);

// Fails when what was set cannot be written; the key is closed all the same.
LONG RegCloseKey(HKEY key);
