// Calls that are looked up at run time because not every version of Windows has them.
#pragma once

#include <cstdint>

#include "platform/linux/core/types.h"

using HMODULE = struct HINSTANCE__*;
using HINSTANCE = HMODULE;
using FARPROC = intptr_t(WINAPI*)();

// Knows "kernel32.dll", and the program itself by a null name.
HMODULE GetModuleHandleW(LPCWSTR name);

// Null for every name but "CancelSynchronousIo" (threads.h), and for that one on a machine without
// it (machine.h).
FARPROC GetProcAddress(HMODULE module, const char* name);
