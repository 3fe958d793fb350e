// An INI file as it stands, for the calls that read and change it: each line is kept as it is, with its own line end.
#pragma once

#include <functional>
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

// Reads a file; a missing one is an empty document. False with errno set when it cannot be read.
bool ReadProfile(const std::string& path, ProfileDocument* profile);
bool ReadProfileFrom(int descriptor, ProfileDocument* profile);

// The value of a key by the rules of profile.h.
std::optional<std::u16string> FindValue(const ProfileDocument* profile, std::u16string_view section, std::u16string_view key);

// Sets a value, creating section and key where they are missing; null removes the key.
void SetValue(ProfileDocument* profile, std::u16string_view section, std::u16string_view key, const WCHAR* value);

// Adds an empty section where there is none of that name.
void AddSection(ProfileDocument* profile, std::u16string_view section);

// Removes the section with all its lines.
void RemoveSection(ProfileDocument* profile, std::u16string_view section);

// The sections' names in the order of the file.
std::vector<std::u16string> SectionNames(const ProfileDocument* profile);

// Each line with a key, without blanks at its ends, behind its section's name and "\\".
std::vector<std::u16string> SectionLines(const ProfileDocument* profile);

// When a change is on the disk: as soon as its call returns, or when the system gets to it, so that a power cut can take it back.
enum class Durability { SYNCED, DEFERRED };

// Reads the file, lets `change` change it, and puts the result in its place, as profile.h promises for a write. False with errno set when
// that fails; the file is then as it was.
bool UpdateProfile(
    const std::string& path, const std::function<void(ProfileDocument*)>& change, Durability durability = Durability::SYNCED);

// Whether UpdateProfile would be let write, as things stand.
bool CanUpdateProfile(const std::string& path);

} // namespace korvex::platform
