// Control requests to devices that a driver of this layer serves (DeviceServer in device_tree.h).
// CreateFileW opens one by the path of its interface.
#pragma once

#include <memory>

#include "platform/linux/core/types.h"

// Sends a request to an open device.
BOOL DeviceIoControl(HANDLE handle, DWORD code, const void* input, DWORD inputSize, void* output,
    DWORD outputSize, DWORD* returned, OVERLAPPED* overlapped);

namespace korvex::platform {

struct DeviceServer;

// Opens the device for CreateFileW; INVALID_HANDLE_VALUE with the last error set.
HANDLE OpenDevice(const std::shared_ptr<DeviceServer>& server);

} // namespace korvex::platform
