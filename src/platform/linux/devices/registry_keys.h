// Keys that are opened by their whole path.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/devices/registry.h"

namespace korvex::platform {

// A key by its path from "HKLM" or "HKCU" on; it need not exist yet. Closed with RegCloseKey.
HKEY OpenRegistryPath(std::u16string_view path);

// A text value by its key's path; empty when there is none or it is no text.
std::u16string ReadRegistryText(std::u16string_view path, std::u16string_view name);

// The path of a service's key.
std::u16string ServiceKeyPath(std::u16string_view service);

// Deletes a key with its values, not the keys below it. False when that cannot be written.
bool DeleteRegistryPath(std::u16string_view path);

// Every value that is stored, as text: its key's path, "\\", and its line of the file.
std::vector<std::u16string> RegistryLines();

} // namespace korvex::platform
