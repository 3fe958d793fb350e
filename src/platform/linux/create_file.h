// The one call that opens files, serial ports and devices alike.
#pragma once

#include "platform/linux/core/types.h"

// Opens an existing regular file (files/files.h), a serial port, or a device by the path of its
// interface; a port also by that of its tty, without sharing. `disposition` must be OPEN_EXISTING.
// A path may use either separator.
HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* security,
    DWORD disposition, DWORD flags, HANDLE templateFile);
