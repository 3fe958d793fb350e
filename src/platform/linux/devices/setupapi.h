// Devices: SetupAPI and the configuration manager, over the device tree of the machine (device_tree.h). Only the calls, properties and
// requests that the library uses. Sizes are in bytes or UTF-16 units as Windows documents them for each call.
#pragma once

#include "platform/linux/core/modules.h"
#include "platform/linux/core/types.h"
#include "platform/linux/devices/registry.h"

struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];

    bool operator==(const GUID&) const = default;
};

using ULONG = uint32_t;
using HDEVINFO = void*;
using DEVINST = DWORD;
using CONFIGRET = DWORD;
using DI_FUNCTION = UINT;

struct SP_DEVINFO_DATA {
    DWORD cbSize;
    GUID ClassGuid;
    DEVINST DevInst;
    ULONG_PTR Reserved;
};

struct SP_DEVICE_INTERFACE_DATA {
    DWORD cbSize;
    GUID InterfaceClassGuid;
    DWORD Flags;
    ULONG_PTR Reserved;
};

struct SP_DEVICE_INTERFACE_DETAIL_DATA_W {
    DWORD cbSize;
    WCHAR DevicePath[1];
};

struct SP_CLASSINSTALL_HEADER {
    DWORD cbSize;
    DI_FUNCTION InstallFunction;
};

struct SP_PROPCHANGE_PARAMS {
    SP_CLASSINSTALL_HEADER ClassInstallHeader;
    DWORD StateChange;
    DWORD Scope;
    DWORD HwProfile;
};

struct SP_REMOVEDEVICE_PARAMS {
    SP_CLASSINSTALL_HEADER ClassInstallHeader;
    DWORD Scope;
    DWORD HwProfile;
};

struct SP_DEVINSTALL_PARAMS_W {
    DWORD cbSize;
    DWORD Flags;
    DWORD FlagsEx;
    HWND hwndParent;
    void* InstallMsgHandler;
    void* InstallMsgHandlerContext;
    void* FileQueue;
    ULONG_PTR ClassInstallReserved;
    DWORD Reserved;
    WCHAR DriverPath[MAX_PATH];
};

// What a co-installer is called with.
struct COINSTALLER_CONTEXT_DATA {
    BOOL PostProcessing;
    DWORD InstallResult;
    void* PrivateData;
};

inline constexpr DWORD ERROR_DI_POSTPROCESSING_REQUIRED = 0xE0000226;
inline constexpr DWORD DIGCF_PRESENT = 0x02;
inline constexpr DWORD DIGCF_ALLCLASSES = 0x04;
inline constexpr DWORD DIGCF_DEVICEINTERFACE = 0x10;
inline constexpr DWORD SPDRP_HARDWAREID = 0x01;
inline constexpr DWORD SPDRP_UPPERFILTERS = 0x11;
inline constexpr DWORD DICS_FLAG_GLOBAL = 1;
inline constexpr DWORD DICS_FLAG_CONFIGSPECIFIC = 2;
inline constexpr DWORD DICS_PROPCHANGE = 3;
inline constexpr DWORD DIREG_DEV = 1;
inline constexpr DWORD DIOD_INHERIT_CLASSDRVS = 2;
inline constexpr DWORD DI_REMOVEDEVICE_GLOBAL = 1;
inline constexpr DWORD DI_NEEDREBOOT = 0x100;
inline constexpr DI_FUNCTION DIF_INSTALLDEVICE = 0x02;
inline constexpr DI_FUNCTION DIF_REMOVE = 0x05;
inline constexpr DI_FUNCTION DIF_PROPERTYCHANGE = 0x12;

inline constexpr CONFIGRET CR_SUCCESS = 0x00;
inline constexpr CONFIGRET CR_INVALID_DEVNODE = 0x05;
inline constexpr CONFIGRET CR_NO_SUCH_DEVNODE = 0x0D;
inline constexpr CONFIGRET CR_BUFFER_SMALL = 0x1A;
inline constexpr ULONG DN_NEED_RESTART = 0x100;
inline constexpr ULONG DN_HAS_PROBLEM = 0x400;
inline constexpr ULONG CM_REENUMERATE_SYNCHRONOUS = 1;

// With DIGCF_DEVICEINTERFACE the interfaces of a class, of one device when `enumerator` names its instance ID; without, the device with
// that instance ID. INVALID_HANDLE_VALUE when no such device exists.
HDEVINFO SetupDiGetClassDevsW(const GUID* classId, LPCWSTR enumerator, HWND parent, DWORD flags);
BOOL SetupDiDestroyDeviceInfoList(HDEVINFO devices);
BOOL SetupDiEnumDeviceInterfaces(
    HDEVINFO devices, SP_DEVINFO_DATA* element, const GUID* classId, DWORD index, SP_DEVICE_INTERFACE_DATA* data);
BOOL SetupDiGetDeviceInterfaceDetailW(HDEVINFO devices, SP_DEVICE_INTERFACE_DATA* data, SP_DEVICE_INTERFACE_DETAIL_DATA_W* detail,
    DWORD size, DWORD* required, SP_DEVINFO_DATA* element);
BOOL SetupDiOpenDeviceInfoW(HDEVINFO devices, LPCWSTR instanceId, HWND parent, DWORD flags, SP_DEVINFO_DATA* element);
BOOL SetupDiGetDeviceRegistryPropertyW(
    HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD property, DWORD* type, BYTE* buffer, DWORD size, DWORD* required);
BOOL SetupDiSetDeviceRegistryPropertyW(HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD property, const BYTE* buffer, DWORD size);
HKEY SetupDiOpenDevRegKey(HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD scope, DWORD profile, DWORD keyType, DWORD access);
BOOL SetupDiSetClassInstallParamsW(HDEVINFO devices, SP_DEVINFO_DATA* element, SP_CLASSINSTALL_HEADER* parameters, DWORD size);

// Carries out the request that SetupDiSetClassInstallParamsW has stored: a restart, or the removal of the device and all below it.
BOOL SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO devices, SP_DEVINFO_DATA* element);
BOOL SetupDiGetDeviceInstallParamsW(HDEVINFO devices, SP_DEVINFO_DATA* element, SP_DEVINSTALL_PARAMS_W* parameters);
BOOL SetupDiSetDeviceInstallParamsW(HDEVINFO devices, SP_DEVINFO_DATA* element, SP_DEVINSTALL_PARAMS_W* parameters);

CONFIGRET CM_Get_Child(DEVINST* child, DEVINST node, ULONG flags);
CONFIGRET CM_Get_Sibling(DEVINST* sibling, DEVINST node, ULONG flags);
CONFIGRET CM_Get_Device_ID_Size(ULONG* length, DEVINST node, ULONG flags); // UTF-16 units without terminator
CONFIGRET CM_Get_Device_IDW(DEVINST node, LPWSTR buffer, ULONG capacity, ULONG flags);
CONFIGRET CM_Get_DevNode_Status(ULONG* status, ULONG* problem, DEVINST node, ULONG flags);
CONFIGRET CM_Reenumerate_DevNode(DEVINST node, ULONG flags);

// Carries out "SECTION MODE PATH": installs the services that the section of the INF file, or the one with ".Services" behind its name,
// names in AddService, and copies each service's binary from the INF's folder. The mode is not looked at.
void InstallHinfSectionW(HWND window, HMODULE instance, LPCWSTR command, int show);

// Sends a request to an open device (device_tree.h).
BOOL DeviceIoControl(
    HANDLE handle, DWORD code, const void* input, DWORD inputSize, void* output, DWORD outputSize, DWORD* returned, OVERLAPPED* overlapped);
