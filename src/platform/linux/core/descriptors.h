// Reading and writing through file descriptors.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace korvex::platform {

// Writes all of it. False with errno set when that fails; part of it may then be written.
bool WriteWhole(int descriptor, std::string_view content);

// Reads up to the end of the file. False with errno set when that fails, EFBIG when there is more
// than `limit` bytes; part of it may then have been read.
bool ReadWhole(int descriptor, size_t limit, std::string* content);

// True if nobody has write permission: read-only as on Windows, for administrators too.
bool IsReadOnly(const struct stat* status);

} // namespace korvex::platform
