// The pointer back ends. A new one is a file that fills in the machine's
// PointerBackend (machine.h), and its row here.
#pragma once

#include <string>
#include <vector>

#include "platform/linux/pointer/pointer_settings.h"

namespace korvex::platform {

struct NamedPointerBackend {
    const char* name; // "uinput"
    // Directs the machine's input there. False, with a reason, when it cannot.
    bool (*use)(const PointerSettings& settings, std::string* reason);
};

// The one of that name; null when there is none.
const NamedPointerBackend* FindPointerKind(const std::string& name);

// The names of all, in the order of the help.
std::vector<std::string> PointerNames();

} // namespace korvex::platform
