// The basic Windows types and the error codes, as the platform SDK defines them.
#pragma once

#include <cstdint>

using BOOL = int;
using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG_PTR = uintptr_t;
using HRESULT = int32_t;
using WCHAR = char16_t;
using LPCWSTR = const WCHAR*;
using LPWSTR = WCHAR*;
using HANDLE = void*;
using HWND = struct HWND__*;

// Never read: every call with one is passed null.
struct OVERLAPPED;
struct SECURITY_ATTRIBUTES;

// These are the platform SDK's own spellings.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
#define __stdcall
#define __cdecl
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
#define CALLBACK
#define WINAPI
#define TEXT_LITERAL(text) u##text
#define TEXT(text) TEXT_LITERAL(text)

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline constexpr DWORD MAXDWORD = 0xFFFFFFFF;
inline constexpr DWORD MAX_PATH = 260;
// NOLINTNEXTLINE(performance-no-int-to-ptr): as Windows has it
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~uintptr_t{0});

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD NO_ERROR = 0;
inline constexpr DWORD ERROR_INVALID_FUNCTION = 1;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_SEM_TIMEOUT = 121;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_OPERATION_ABORTED = 995;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_SERVICE_DOES_NOT_EXIST = 1060;
inline constexpr DWORD ERROR_DEVICE_NOT_CONNECTED = 1167;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_INVALID_USER_BUFFER = 1784;
inline constexpr DWORD ERROR_NO_SUCH_DEVINST = 0xE000020B;
