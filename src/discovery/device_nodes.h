// Operations on device nodes and services that the detection pass, the binding and the co-installer
// share.
#pragma once

#include <array>

#include "platform/win32.h"
#include "support/bounded_text.h"

namespace korvex {

// UTF-16 units of a buffer for a port's name, "COM12".
inline constexpr size_t PORT_NAME_CAPACITY = 32;
using PortName = std::array<WCHAR, PORT_NAME_CAPACITY>;

// The port's "PortName" from its hardware key, which is opened with the access rights given. False,
// with an empty name, when key or value cannot be read: all rights are an administrator's.
bool ReadPortName(
    HDEVINFO devices, SP_DEVINFO_DATA* element, PortName* name, DWORD access = KEY_ALL_ACCESS);

// The first child of a device node; 0 when there is none or it cannot be had.
DEVINST FirstChild(DEVINST node);

// The node's device instance ID in memory from malloc, which the caller frees; null when it cannot
// be read or memory is short.
WCHAR* CopyDeviceId(DEVINST node);

// Asks the class installer to restart the device with its current settings. True when the system
// has to be restarted for that.
bool RestartDevice(HDEVINFO devices, SP_DEVINFO_DATA* element);

// Asks the class installer to remove the device, in every hardware profile.
void RemoveDevice(HDEVINFO devices, SP_DEVINFO_DATA* element);

// Removes every child of the node, in order.
void RemoveChildDevices(DEVINST node);

// Has the installation in progress end with a request to restart the system.
void SetNeedReboot(HDEVINFO devices, SP_DEVINFO_DATA* element);

// Opens a service of the active database; null when the service manager or the service cannot be
// opened. The caller closes it.
SC_HANDLE OpenServiceByName(const WCHAR* service, DWORD access);

} // namespace korvex
