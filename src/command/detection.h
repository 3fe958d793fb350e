// What `korvex enum` and `korvex paneltest` have in common: an entry of the library that takes the
// process over, started as rundll32 starts it on Windows. On the main thread unless said otherwise.
#pragma once

#include <string>

#include "korvex/korvex.h"
#include "process/options.h"

namespace korvex::command {

// The two forms of an entry.
struct Entry {
    decltype(&kxENUM) run;
    decltype(&kxENUMW) runSingle;
};

// Runs the entry, which ends the process when its window is closed or an end is requested; the
// result is the exit code where it does not come that far. The handlers (HostHandlers) are set.
int RunEntry(const Options* options, const Entry* entry);

// "korvex enum", for the routines that the library calls back; from RunEntry on. Any thread.
const std::string& EntryCommand();

// HostHandlers::workerRefused: without its worker the entry would show a window that never finds
// anything, so the process ends.
void EndWithoutWorker();

// The exit code of an entry that has ended with `exitCode`: another one when its display is lost,
// which is then said.
int EntryExitCode(int exitCode);

} // namespace korvex::command
