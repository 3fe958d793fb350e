// The watcher, KxConsole.exe -watch: keeps a detection running for panels that come late, go and
// come back. One in a user's session; it has no visible window. Windows only.
#pragma once

#include <cstdint>

namespace korvex {

// Watches until the window is closed or the user's session ends: the program's exit code, 0; 1
// when the session has a watcher already, or no window can be had. `panels`: as many as the machine
// has, at least (restart_rule.h). On the program's first thread.
int RunWatch(uint32_t panels);

} // namespace korvex
