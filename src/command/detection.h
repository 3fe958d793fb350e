// The end of a process whose detection cannot work.
#pragma once

namespace korvex::command {

// HostHandlers::workerRefused: without its worker the entry would show a window that never finds
// anything, so the process ends.
void EndWithoutWorker();

} // namespace korvex::command
