// The content of an INI file, for the calls that read and change it: each line is kept verbatim,
// with its own line end.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/core/types.h"

namespace korvex::platform {

enum class Encoding { UTF_8, UTF_8_BOM, UTF_16_LITTLE_ENDIAN, UTF_16_BIG_ENDIAN };

struct ProfileDocument {
    Encoding encoding = Encoding::UTF_8;
    std::vector<std::u16string> lines; // the last one may have no line end
};

// The text without the blanks and line ends around it.
std::u16string_view Trim(std::u16string_view text);

// The document of a file's bytes.
ProfileDocument ParseProfile(std::string_view content);

// The bytes of the file for a document.
std::string FormatProfile(const ProfileDocument* profile);

// The value of a key by the rules of profile.h.
std::optional<std::u16string> FindValue(
    const ProfileDocument* profile, std::u16string_view section, std::u16string_view key);

// Sets a value, creating section and key where they are missing; null removes the key.
void SetValue(ProfileDocument* profile, std::u16string_view section, std::u16string_view key,
    const WCHAR* value);

// Adds an empty section if there is none of that name.
void AddSection(ProfileDocument* profile, std::u16string_view section);

// Removes the section with all its lines.
void RemoveSection(ProfileDocument* profile, std::u16string_view section);

// The sections' names in the order of the file.
std::vector<std::u16string> SectionNames(const ProfileDocument* profile);

} // namespace korvex::platform
