// What ends a command that must end cleanly: SIGINT, SIGTERM, SIGHUP (unless it was ignored when
// the process started, as nohup(1) does) or the command itself. There is one request, for good.
#pragma once

#include <chrono>
#include <optional>

#include "platform/win32.h"

namespace korvex::command {

// Keeps these signals waiting, in this thread and in those that it starts. First thing in the
// program.
void BlockEndSignals();

// Gives them their default action again, also to one that has come meanwhile.
void AllowEndSignals();

// Takes the first of the signals from now on, on a thread of its own, as the end request. A process
// that has not ended 2.8 s after the first one, whatever holds it, is ended then with EXIT_DONE.
// False when the system refuses what that needs; once per process.
bool WatchForEnd();

// What such a process is ended with instead of EXIT_DONE.
void SetOverdueExitCode(int exitCode);

// Requests the end without a signal: EndEvent is set, the windows are not told, and there is no
// limit. Any thread.
void RequestEnd();

bool IsEndRequested();

// Is set with the request; not owned. Null before WatchForEnd.
HANDLE EndEvent();

// Readable from the signal on, for good; not to be read. -1 before WatchForEnd.
int EndDescriptor();

// Waits for the request for at most `limit` (none: no limit). True when it has come.
bool WaitForEnd(std::optional<std::chrono::milliseconds> limit);

} // namespace korvex::command
