// What CreateFileW opens beside regular files.
#pragma once

#include <optional>

#include "platform/linux/core/types.h"

namespace korvex::platform {

struct OpenRequest {
    LPCWSTR path;
    DWORD access; // GENERIC_READ and so on
    DWORD shareMode;
};

// None for a path that the opener does not know; else the handle, or INVALID_HANDLE_VALUE with the
// last error set.
using Opener = std::optional<HANDLE> (*)(const OpenRequest* request);

// Has CreateFileW ask the opener, behind those that were registered before. Called while static
// objects are made. Always true.
bool RegisterOpener(Opener opener);

// What the first opener that knows the path says; none when no one does.
std::optional<HANDLE> AskOpeners(const OpenRequest* request);

} // namespace korvex::platform
