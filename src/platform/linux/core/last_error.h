// The calling thread's last error, and the errors that stand for those of Linux.
#pragma once

#include "platform/linux/core/types.h"

// Every call of this layer that fails sets it; one that succeeds leaves it alone.
DWORD GetLastError();
void SetLastError(DWORD error);

namespace korvex::platform {

// The Windows error that stands for an errno value.
DWORD ErrorFromErrno(int number);

// Sets the last error from `errno` and returns FALSE.
BOOL FailWithErrno();

// Sets the last error and returns FALSE.
BOOL Fail(DWORD error);

} // namespace korvex::platform
