// The registry by the whole paths of its keys, from "HKLM" or "HKCU" on. It is kept, as readable
// text, in "registry.ini" in the machine's state folder (machine.h). Names match without regard to
// case. Processes lose nothing of each other's; a power cut can take back the last changes, as on
// Windows, and the next detecting pass makes up for them. Every routine may be called from any
// thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/core/types.h"

inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;

namespace korvex::platform {

struct RegistryValue {
    DWORD type; // REG_SZ, REG_DWORD or REG_BINARY
    std::vector<BYTE> data;
};

struct NamedValue {
    std::u16string name;
    RegistryValue value;
};

// Whether changes can be made now; a disk that fills up later shows when they are written.
bool IsRegistryWritable();

// A key exists when something is stored in it or below it.
bool RegistryKeyExists(std::u16string_view path);

std::optional<RegistryValue> ReadRegistryValue(std::u16string_view path, std::u16string_view name);

// A text value; empty when there is none or it is no text.
std::u16string ReadRegistryText(std::u16string_view path, std::u16string_view name);

// Creates the key if it is missing and sets its values, in one go, and notifies the machine of
// each. False when that cannot be written; nothing is then changed.
bool WriteRegistryValues(std::u16string_view path, const std::vector<NamedValue>* values);
bool WriteRegistryText(
    std::u16string_view path, std::u16string_view name, std::u16string_view text);

// Deletes a key with its values, not the keys below it. False when that cannot be written.
bool DeleteRegistryKey(std::u16string_view path);

// Sets a text value that nothing keeps: it hides one that is stored, until the end of the process.
void SetVolatileText(std::u16string_view path, std::u16string_view name, std::u16string_view text);
void ClearVolatileTexts();

// The path of a service's key.
std::u16string ServiceKeyPath(std::u16string_view service);

} // namespace korvex::platform
