// This process among others: named mutexes, the start of programs, its end.
#pragma once

#include "platform/linux/core/modules.h"
#include "platform/linux/core/types.h"

// Sets ERROR_ALREADY_EXISTS when another process of this user's session holds a mutex of that name,
// or when that cannot be found out, of which the machine is notified (mutexRefused); else
// ERROR_SUCCESS. Never closed, it is held until the process ends.
HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initialOwner, LPCWSTR name);

// Starts a program with its parameters, split at blanks outside double quotes; only the verb
// "open". Above 32 when it was started.
HINSTANCE ShellExecuteW(
    HWND owner, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters, LPCWSTR folder, int show);

// Flushes the output and ends the process: at once while another thread runs, through the exit
// handlers otherwise. The machine may replace the exit code (machine.h, onExit).
[[noreturn]] void ExitProcess(UINT exitCode);
