// SetupAPI, over the device tree of the machine (device_tree.h). Only the calls, properties and
// requests that the library uses; anything else fails. Sizes are in bytes or UTF-16 units as
// Windows documents them for each call; an element whose cbSize is not set is refused with
// ERROR_INVALID_USER_BUFFER.
#pragma once

#include "platform/linux/devices/registry.h"
#include "platform/linux/devices/setup_types.h"

// With DIGCF_DEVICEINTERFACE the interfaces of a class, of one device when `enumerator` names its
// instance ID; without, the device with that instance ID. Of present devices: DIGCF_PRESENT must be
// set. INVALID_HANDLE_VALUE when no such device exists.
HDEVINFO SetupDiGetClassDevsW(const GUID* classId, LPCWSTR enumerator, HWND parent, DWORD flags);
BOOL SetupDiDestroyDeviceInfoList(HDEVINFO devices);
BOOL SetupDiEnumDeviceInterfaces(HDEVINFO devices, SP_DEVINFO_DATA* element, const GUID* classId,
    DWORD index, SP_DEVICE_INTERFACE_DATA* data);
BOOL SetupDiGetDeviceInterfaceDetailW(HDEVINFO devices, SP_DEVICE_INTERFACE_DATA* data,
    SP_DEVICE_INTERFACE_DETAIL_DATA_W* detail, DWORD size, DWORD* required,
    SP_DEVINFO_DATA* element);
BOOL SetupDiOpenDeviceInfoW(
    HDEVINFO devices, LPCWSTR instanceId, HWND parent, DWORD flags, SP_DEVINFO_DATA* element);
BOOL SetupDiGetDeviceRegistryPropertyW(HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD property,
    DWORD* type, BYTE* buffer, DWORD size, DWORD* required);
BOOL SetupDiSetDeviceRegistryPropertyW(
    HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD property, const BYTE* buffer, DWORD size);
HKEY SetupDiOpenDevRegKey(HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD scope, DWORD profile,
    DWORD keyType, DWORD access);

// Checks the parameters of a request: DICS_PROPCHANGE for this hardware profile
// (DICS_FLAG_CONFIGSPECIFIC), or DI_REMOVEDEVICE_GLOBAL.
BOOL SetupDiSetClassInstallParamsW(
    HDEVINFO devices, SP_DEVINFO_DATA* element, SP_CLASSINSTALL_HEADER* parameters, DWORD size);

// DIF_REMOVE removes the device and all below it, DIF_PROPERTYCHANGE restarts it.
BOOL SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO devices, SP_DEVINFO_DATA* element);
BOOL SetupDiGetDeviceInstallParamsW(
    HDEVINFO devices, SP_DEVINFO_DATA* element, SP_DEVINSTALL_PARAMS_W* parameters);
BOOL SetupDiSetDeviceInstallParamsW(
    HDEVINFO devices, SP_DEVINFO_DATA* element, SP_DEVINSTALL_PARAMS_W* parameters);
