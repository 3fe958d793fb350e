// Files and folders.
#pragma once

#include <string>

#include "platform/linux/core/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_READ_ATTRIBUTES = 0x80;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr int CSIDL_SYSTEM = 37;
inline constexpr DWORD SHGFP_TYPE_DEFAULT = 1;

// Makes a path absolute against the current directory. Returns the length without terminator; when
// the buffer (`capacity` UTF-16 units) is too small, the capacity it needs, leaving the buffer
// alone; 0 on failure. `filePart` is not supported and must be null.
DWORD GetFullPathNameW(LPCWSTR path, DWORD capacity, LPWSTR buffer, LPWSTR* filePart);

// Only CSIDL_SYSTEM: the machine's system folder (machine.h), into a buffer of MAX_PATH units.
HRESULT SHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags, LPWSTR path);

namespace korvex::platform {

// Opens an existing regular file for CreateFileW. The handle only proves that this is possible:
// profile.h reads and writes the content. A file without any write permission is read-only, even
// for root; one that is no regular file, is reached through an untrusted link, or is too large to
// be read whole (whole_files.h) cannot be opened.
HANDLE OpenRegularFile(const std::string& path, DWORD access);

} // namespace korvex::platform
