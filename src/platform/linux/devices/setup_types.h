// Records and constants of SetupAPI and the configuration manager.
#pragma once

#include "platform/linux/core/types.h"

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
};

struct SP_REMOVEDEVICE_PARAMS {
    SP_CLASSINSTALL_HEADER ClassInstallHeader;
    DWORD Scope;
};

struct SP_DEVINSTALL_PARAMS_W {
    DWORD cbSize;
    DWORD Flags;
};

// The context of a call of a co-installer.
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
inline constexpr CONFIGRET CR_INVALID_FLAG = 0x04;
inline constexpr CONFIGRET CR_INVALID_DEVNODE = 0x05;
inline constexpr CONFIGRET CR_NO_SUCH_DEVNODE = 0x0D;
inline constexpr CONFIGRET CR_BUFFER_SMALL = 0x1A;
inline constexpr ULONG DN_NEED_RESTART = 0x100;
inline constexpr ULONG DN_HAS_PROBLEM = 0x400;
inline constexpr ULONG CM_REENUMERATE_SYNCHRONOUS = 1;
