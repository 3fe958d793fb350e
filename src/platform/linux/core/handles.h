// The calls on handles of any type.
#pragma once

#include "platform/linux/core/types.h"

// Reading, writing and flushing: of serial ports (serial/serial.h); any other handle fails with
// ERROR_INVALID_HANDLE.
BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* received, OVERLAPPED* overlapped);
BOOL WriteFile(
    HANDLE handle, const void* bytes, DWORD count, DWORD* written, OVERLAPPED* overlapped);
BOOL FlushFileBuffers(HANDLE handle);

// Closes a handle of any kind. No other thread may be using it, but a thread whose handle is closed
// runs on.
BOOL CloseHandle(HANDLE handle);
