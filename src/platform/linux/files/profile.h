// Private profile (INI) files, by the rules that Windows documents for them: section and key names match without regard to case, the
// first match wins, blanks around names and values and one pair of quotes around a value do not count, a line that starts with ";" is
// a comment. Files are UTF-16 where a byte order mark says so, else 8-bit text (UTF-8 here).
#pragma once

#include "platform/linux/core/types.h"

// Copies the value, or `fallback` when file, section or key is missing (last error ERROR_FILE_NOT_FOUND), into `buffer` of `capacity`
// UTF-16 units, cut to capacity - 1 and terminated. Returns the length without terminator. `section` and `key` must be given.
DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR fallback, LPWSTR buffer, DWORD capacity, LPCWSTR path);

// Sets one value, creating file, section and key where they are missing; a null value removes the key. Every other line stays as it
// stands, line ends and encoding included. The new content is written beside the file and renamed over it, under a lock that
// processes using this layer share, so that the old content survives every failure. `section` and `key` must be given.
BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR path);
