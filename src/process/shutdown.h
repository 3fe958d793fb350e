// The shutdown request of a process. SIGINT, SIGTERM and SIGHUP make it, and so can the command
// itself. SIGHUP is ignored if it was ignored at the start, as nohup(1) has it. A request is never
// withdrawn.
#pragma once

#include <chrono>

#include "platform/win32.h"

namespace korvex::command {

// Blocks these signals in this thread and in those that it starts. Must be the first call of the
// program.
void BlockShutdownSignals();

// Unblocks the signals; one that is pending takes its default action now.
void AllowShutdownSignals();

// From now on a thread of its own takes the first of these signals as the shutdown request. A
// process that has not ended 2.8 s after the first one, whatever holds it, is ended then with
// EXIT_DONE. False when the system refuses what that needs; once per process.
bool WatchForShutdown();

// The exit code of a process that is ended for being overdue, in place of EXIT_DONE.
void SetOverdueExitCode(int exitCode);

// Requests the shutdown without a signal: ShutdownEvent is set, the windows are not closed, and
// there is no time limit. Any thread.
void RequestShutdown();

bool IsShutdownRequested();

// Is set with the request; not owned. Null before WatchForShutdown.
HANDLE ShutdownEvent();

// Becomes readable with the signal and stays so, for poll; do not read it. -1 before
// WatchForShutdown.
int ShutdownDescriptor();

// Waits for the request for at most `limit`. True when it has come.
bool WaitForShutdown(std::chrono::milliseconds limit);

} // namespace korvex::command
