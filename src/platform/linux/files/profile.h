// Private profile (INI) files, by the rules that Windows documents for them: section and key names
// match without regard to case, the first match wins, blanks around names and values and one pair
// of quotes around a value are ignored, a line that starts with ";" is a comment. Files are UTF-16
// where a byte order mark says so, else 8-bit text (UTF-8 here).
//
// A thread's reads of a file between its opening (CreateFileW) and the next come from one state of
// the file, so that a reader never sees half of a change. A thread's writes to a file
// wait until they are flushed, and then reach the disk together: another process, and a crash, sees
// all of them or none.
#pragma once

#include <string>

#include "platform/linux/core/types.h"

// Copies the value, or `fallback` when file, section or key is missing (last error
// ERROR_FILE_NOT_FOUND), into `buffer` of `capacity` UTF-16 units, cut to capacity - 1 and
// terminated. Returns the length without terminator. `section` and `key` must be given.
DWORD GetPrivateProfileStringW(
    LPCWSTR section, LPCWSTR key, LPCWSTR fallback, LPWSTR buffer, DWORD capacity, LPCWSTR path);

// Sets one value, creating file, section and key where they are missing; a null value removes the
// key. Every other line stays unchanged, line ends and encoding included. FALSE, with nothing
// changed, for a file that cannot be written now.
// With section, key and value null it flushes what the thread has written to the file: FALSE
// always, as Windows documents it, with the last error ERROR_SUCCESS when all is on the disk; else
// the file is unchanged, and the thread's writes are forgotten.
BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR path);

namespace korvex::platform {

// The thread opens a file: its reads of it come from one state, from now on to the next opening.
void StartReading(const std::string& path);

} // namespace korvex::platform
