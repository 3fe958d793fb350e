// Running an entry of the library that takes the process over, for `korvex enum` and `paneltest`,
// as rundll32 does on Windows. On the main thread, except where a routine says otherwise.
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

// HostHandlers::workerRefused: without its worker the entry would show a window that never finds
// anything, so the process ends.
void EndWithoutWorker();

// The command's exit code for an entry that has ended with `exitCode`: EXIT_FAULT, with a message,
// when the display was lost.
int EntryExitCode(int exitCode);

} // namespace korvex::command
