#include "discovery/device_nodes.h"

#include <cstdlib>

#include "support/owned.h"

namespace korvex {

bool ReadPortName(HDEVINFO devices, SP_DEVINFO_DATA* element, PortName* name, DWORD access)
{
    name->fill(0);
    const OwnedKey key(
        SetupDiOpenDevRegKey(devices, element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, access));
    PortName value{};
    DWORD size = sizeof(value);
    if (!IsOpen(key.value)
        || RegQueryValueExW(key.value, TEXT("PortName"), nullptr, nullptr,
               reinterpret_cast<BYTE*>(value.data()), &size)
            != ERROR_SUCCESS)
        return false;
    // the registry does not promise a terminator
    CopyBounded(name->data(), name->size(), value.data());
    return true;
}

DEVINST FirstChild(DEVINST node)
{
    DEVINST child = 0;
    return CM_Get_Child(&child, node, 0) == CR_SUCCESS ? child : 0;
}

WCHAR* CopyDeviceId(DEVINST node)
{
    std::array<WCHAR, TEXT_CAPACITY> text{};
    ULONG length = 0;
    if (CM_Get_Device_ID_Size(&length, node, 0) != CR_SUCCESS
        || CM_Get_Device_IDW(node, text.data(), static_cast<ULONG>(text.size()), 0) != CR_SUCCESS)
        return nullptr;
    auto* copy = static_cast<WCHAR*>(malloc((length + size_t{1}) * sizeof(WCHAR)));
    if (copy != nullptr)
        CopyBounded(copy, length + size_t{1}, text.data());
    return copy;
}

bool RestartDevice(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    SP_PROPCHANGE_PARAMS parameters{};
    parameters.ClassInstallHeader.cbSize = sizeof(SP_CLASSINSTALL_HEADER);
    parameters.ClassInstallHeader.InstallFunction = DIF_PROPERTYCHANGE;
    parameters.StateChange = DICS_PROPCHANGE;
    parameters.Scope = DICS_FLAG_CONFIGSPECIFIC;
    if (SetupDiSetClassInstallParamsW(
            devices, element, &parameters.ClassInstallHeader, sizeof(parameters))
        == FALSE)
        return false;
    SetupDiCallClassInstaller(DIF_PROPERTYCHANGE, devices, element);
    ULONG status = 0;
    ULONG problem = 0;
    return CM_Get_DevNode_Status(&status, &problem, element->DevInst, 0) == CR_SUCCESS
        && (status & DN_NEED_RESTART) != 0;
}

void RemoveDevice(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    SP_REMOVEDEVICE_PARAMS parameters{};
    parameters.ClassInstallHeader.cbSize = sizeof(SP_CLASSINSTALL_HEADER);
    parameters.ClassInstallHeader.InstallFunction = DIF_REMOVE;
    parameters.Scope = DI_REMOVEDEVICE_GLOBAL;
    if (SetupDiSetClassInstallParamsW(
            devices, element, &parameters.ClassInstallHeader, sizeof(parameters))
        != FALSE)
        SetupDiCallClassInstaller(DIF_REMOVE, devices, element);
}

void RemoveChildDevices(DEVINST node)
{
    for (DEVINST child = FirstChild(node); child != 0;) {
        std::array<WCHAR, TEXT_CAPACITY> identifier{};
        if (CM_Get_Device_IDW(child, identifier.data(), static_cast<ULONG>(identifier.size()), 0)
            != CR_SUCCESS)
            return;
        // The next one is asked for first: a removed node has no siblings any more.
        DEVINST sibling = 0;
        const bool last = CM_Get_Sibling(&sibling, child, 0) != CR_SUCCESS;
        const OwnedDevices devices(SetupDiGetClassDevsW(
            nullptr, identifier.data(), nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT));
        SP_DEVINFO_DATA element{};
        element.cbSize = sizeof(element);
        if (IsOpen(devices.value)
            && SetupDiOpenDeviceInfoW(
                   devices.value, identifier.data(), nullptr, DIOD_INHERIT_CLASSDRVS, &element)
                != FALSE)
            RemoveDevice(devices.value, &element);
        child = last ? 0 : sibling;
    }
}

void SetNeedReboot(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    SP_DEVINSTALL_PARAMS_W parameters{};
    parameters.cbSize = sizeof(parameters);
    if (SetupDiGetDeviceInstallParamsW(devices, element, &parameters) == FALSE)
        return;
    parameters.Flags |= DI_NEEDREBOOT;
    SetupDiSetDeviceInstallParamsW(devices, element, &parameters);
}

SC_HANDLE OpenServiceByName(const WCHAR* service, DWORD access)
{
    const OwnedService manager(OpenSCManagerW(nullptr, TEXT("ServicesActive"), GENERIC_ALL));
    return manager.value == nullptr ? nullptr : OpenServiceW(manager.value, service, access);
}

} // namespace korvex
