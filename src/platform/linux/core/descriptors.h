// What more than one part of this layer does with files and their descriptors.
#pragma once

#include <sys/stat.h>

#include <string_view>

namespace korvex::platform {

// Writes all of it. False with errno set when that fails; part of it may then be written.
bool WriteWhole(int descriptor, std::string_view content);

// As with the attribute of that name on Windows, which binds administrators too.
bool IsReadOnly(const struct stat* status);

} // namespace korvex::platform
