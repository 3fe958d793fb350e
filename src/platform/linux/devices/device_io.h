// Control requests to devices that a driver of this layer serves (DeviceServer in device_tree.h).
// CreateFileW opens such a device by the path of its interface.
#pragma once

#include "platform/linux/core/types.h"

// Sends a request to an open device.
BOOL DeviceIoControl(HANDLE handle, DWORD code, const void* input, DWORD inputSize, void* output,
    DWORD outputSize, DWORD* returned, OVERLAPPED* overlapped);
