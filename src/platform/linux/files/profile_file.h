// INI files as documents.
#pragma once

#include <functional>
#include <string>

#include "platform/linux/files/profile_document.h"
#include "platform/linux/files/whole_files.h"

namespace korvex::platform {

// Reads a file; a missing one is an empty document. False with errno set, and an empty document,
// when it cannot be read (ReadWholeFile).
bool ReadProfile(const std::string& path, ProfileDocument* profile);

// Changes the file by `change` (ChangeWholeFile). False with errno set when that fails; the file is
// then unchanged.
bool UpdateProfile(const std::string& path, const std::function<void(ProfileDocument*)>& change,
    Durability durability = Durability::SYNCED);

} // namespace korvex::platform
