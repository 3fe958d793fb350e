// The commands that run a detecting entry of the library, `enum` and `paneltest` (subcommands.h).
#pragma once

namespace korvex::command {

// HostHandlers::workerRefused: without its worker the entry would show a window that never finds
// anything, so the process ends.
void EndWithoutWorker();

} // namespace korvex::command
