#include "platform/linux/devices/setupapi.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/core/handles.h"
#include "platform/linux/core/last_error.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/port_nodes.h"

namespace korvex::platform {

namespace {

struct InterfacePlace {
    DEVINST node;
    size_t index;
};

// An HDEVINFO: the interfaces that it was made for.
using DeviceSet = std::vector<InterfacePlace>;

DeviceSet* SetOf(HDEVINFO devices)
{
    return static_cast<DeviceSet*>(devices);
}

// False, with the last error set, for an element that is none; null is one that is not wanted.
bool FillElement(SP_DEVINFO_DATA* element, DEVINST node)
{
    if (element == nullptr)
        return true;
    if (element->cbSize != sizeof(*element))
        return Fail(ERROR_INVALID_USER_BUFFER) != FALSE;
    element->DevInst = node;
    return true;
}

// Copies a property, both closing zeros of a list included, when it fits.
BOOL CopyList(const std::vector<std::u16string>& entries, BYTE* buffer, DWORD size)
{
    if (entries.empty())
        return Fail(ERROR_INVALID_DATA);
    std::u16string list;
    for (const std::u16string& entry : entries)
        list.append(entry).push_back(u'\0');
    list.push_back(u'\0');
    const size_t bytes = list.size() * sizeof(WCHAR);
    if (size < bytes)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(reinterpret_cast<const BYTE*>(list.data()), bytes, buffer);
    return TRUE;
}

// The node of an element, with the tree locked; null, with the last error set, when it is no longer
// there or the element is none.
DeviceNode* PresentNode(const SP_DEVINFO_DATA* element)
{
    if (element->cbSize != sizeof(*element)) {
        SetLastError(ERROR_INVALID_USER_BUFFER);
        return nullptr;
    }
    DeviceNode* node = NodeOf(element->DevInst);
    if (node == nullptr)
        SetLastError(ERROR_NO_SUCH_DEVINST);
    return node;
}

// Whether it is one of the two requests that the library makes, whole.
bool IsKnownRequest(const SP_CLASSINSTALL_HEADER* header, DWORD size)
{
    if (header->InstallFunction == DIF_PROPERTYCHANGE && size == sizeof(SP_PROPCHANGE_PARAMS)) {
        const auto* change = reinterpret_cast<const SP_PROPCHANGE_PARAMS*>(header);
        return change->StateChange == DICS_PROPCHANGE && change->Scope == DICS_FLAG_CONFIGSPECIFIC;
    }
    return header->InstallFunction == DIF_REMOVE && size == sizeof(SP_REMOVEDEVICE_PARAMS)
        && reinterpret_cast<const SP_REMOVEDEVICE_PARAMS*>(header)->Scope == DI_REMOVEDEVICE_GLOBAL;
}

} // namespace

} // namespace korvex::platform

using korvex::platform::DeviceNode;
using korvex::platform::DeviceSet;
using korvex::platform::Fail;
using korvex::platform::NodeOf;
using korvex::platform::SetOf;
using korvex::platform::TreeLock;

HDEVINFO SetupDiGetClassDevsW(const GUID* classId, LPCWSTR enumerator, HWND /*parent*/, DWORD flags)
{
    if ((flags & DIGCF_PRESENT) == 0) {
        Fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const TreeLock lock;
    const DEVINST only = enumerator == nullptr ? 0 : korvex::platform::FindNode(enumerator);
    if (enumerator != nullptr && only == 0) {
        Fail(ERROR_INVALID_DATA);
        return INVALID_HANDLE_VALUE;
    }
    auto devices = std::make_unique<DeviceSet>();
    if ((flags & DIGCF_DEVICEINTERFACE) != 0) {
        for (const DEVINST node : korvex::platform::PresentNodes()) {
            const auto& interfaces = NodeOf(node)->options.interfaces;
            for (size_t i = 0; i < interfaces.size() && (only == 0 || only == node); ++i) {
                if (interfaces[i].classId == *classId)
                    devices->push_back({node, i});
            }
        }
    }
    return devices.release();
}

BOOL SetupDiDestroyDeviceInfoList(HDEVINFO devices)
{
    delete SetOf(devices);
    return TRUE;
}

BOOL SetupDiEnumDeviceInterfaces(HDEVINFO devices, SP_DEVINFO_DATA* /*element*/,
    const GUID* /*classId*/, DWORD index, SP_DEVICE_INTERFACE_DATA* data)
{
    if (data->cbSize != sizeof(*data))
        return Fail(ERROR_INVALID_PARAMETER);
    if (index >= SetOf(devices)->size())
        return Fail(ERROR_NO_MORE_ITEMS);
    data->Reserved = index;
    return TRUE;
}

BOOL SetupDiGetDeviceInterfaceDetailW(HDEVINFO devices, SP_DEVICE_INTERFACE_DATA* data,
    SP_DEVICE_INTERFACE_DETAIL_DATA_W* detail, DWORD size, DWORD* required,
    SP_DEVINFO_DATA* element)
{
    const TreeLock lock;
    const korvex::platform::InterfacePlace place = SetOf(devices)->at(data->Reserved);
    const DeviceNode* node = NodeOf(place.node);
    if (node == nullptr)
        return Fail(ERROR_NO_SUCH_DEVINST);
    const std::u16string& path = node->options.interfaces[place.index].path;
    const size_t pathBytes = (path.size() + 1) * sizeof(WCHAR);
    const auto needed = static_cast<DWORD>(std::max(
        sizeof(*detail), offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath) + pathBytes));
    if (required != nullptr)
        *required = needed;
    if (detail != nullptr && detail->cbSize != sizeof(*detail))
        return Fail(ERROR_INVALID_PARAMETER);
    if (detail == nullptr || size < needed)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    memcpy(
        reinterpret_cast<BYTE*>(detail) + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath),
        path.c_str(), pathBytes);
    return korvex::platform::FillElement(element, place.node) ? TRUE : FALSE;
}

BOOL SetupDiOpenDeviceInfoW(HDEVINFO /*devices*/, LPCWSTR instanceId, HWND /*parent*/,
    DWORD /*flags*/, SP_DEVINFO_DATA* element)
{
    const DEVINST node = korvex::platform::FindNode(instanceId);
    if (node == 0)
        return Fail(ERROR_NO_SUCH_DEVINST);
    return korvex::platform::FillElement(element, node) ? TRUE : FALSE;
}

BOOL SetupDiGetDeviceRegistryPropertyW(HDEVINFO /*devices*/, SP_DEVINFO_DATA* element,
    DWORD property, DWORD* /*type*/, BYTE* buffer, DWORD size, DWORD* /*required*/)
{
    const TreeLock lock;
    const DeviceNode* node = korvex::platform::PresentNode(element);
    if (node == nullptr)
        return FALSE;
    if (property == SPDRP_HARDWAREID)
        return korvex::platform::CopyList(node->options.hardwareIds, buffer, size);
    if (property == SPDRP_UPPERFILTERS)
        return korvex::platform::CopyList(node->upperFilters, buffer, size);
    return Fail(ERROR_INVALID_DATA);
}

BOOL SetupDiSetDeviceRegistryPropertyW(
    HDEVINFO /*devices*/, SP_DEVINFO_DATA* element, DWORD property, const BYTE* buffer, DWORD size)
{
    const TreeLock lock;
    const DeviceNode* node = korvex::platform::PresentNode(element);
    if (node == nullptr)
        return FALSE;
    if (property != SPDRP_UPPERFILTERS || node->hooks.filtersLocked)
        return Fail(ERROR_ACCESS_DENIED);
    std::u16string list(size / sizeof(WCHAR), u'\0');
    memcpy(list.data(), buffer, list.size() * sizeof(WCHAR));
    // A list ends with two zeros: its last entry's and its own.
    if (list.size() < 2 || !list.ends_with(std::u16string_view(u"\0\0", 2)))
        return Fail(ERROR_INVALID_PARAMETER);
    std::vector<std::u16string> filters;
    for (size_t start = 0; list[start] != 0; start += filters.back().size() + 1)
        filters.emplace_back(list.c_str() + start);
    korvex::platform::StoreUpperFilters(element->DevInst, std::move(filters));
    return TRUE;
}

HKEY SetupDiOpenDevRegKey(HDEVINFO /*devices*/, SP_DEVINFO_DATA* element, DWORD /*scope*/,
    DWORD /*profile*/, DWORD keyType, DWORD access)
{
    const TreeLock lock;
    const DeviceNode* node = korvex::platform::PresentNode(element);
    if (node == nullptr || keyType != DIREG_DEV || node->hooks.hardwareKeyLocked) {
        SetLastError(ERROR_ACCESS_DENIED);
        return static_cast<HKEY>(INVALID_HANDLE_VALUE);
    }
    return korvex::platform::OpenRegistryPath(
        korvex::platform::HardwareKeyPath(node->options.instanceId), access);
}

BOOL SetupDiSetClassInstallParamsW(
    HDEVINFO /*devices*/, SP_DEVINFO_DATA* element, SP_CLASSINSTALL_HEADER* parameters, DWORD size)
{
    const TreeLock lock;
    if (korvex::platform::PresentNode(element) == nullptr)
        return FALSE;
    return parameters->cbSize == sizeof(*parameters)
            && korvex::platform::IsKnownRequest(parameters, size)
        ? TRUE
        : Fail(ERROR_INVALID_PARAMETER);
}

BOOL SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO /*devices*/, SP_DEVINFO_DATA* element)
{
    {
        const TreeLock lock;
        DeviceNode* node = korvex::platform::PresentNode(element);
        if (node == nullptr)
            return FALSE;
        if (function == DIF_REMOVE) {
            korvex::platform::RemoveNode(element->DevInst);
            return TRUE;
        }
        if (function != DIF_PROPERTYCHANGE)
            return Fail(ERROR_INVALID_FUNCTION);
        ++node->hooks.restarts;
    }
    korvex::platform::StartFilter(element->DevInst);
    return TRUE;
}

BOOL SetupDiGetDeviceInstallParamsW(
    HDEVINFO /*devices*/, SP_DEVINFO_DATA* element, SP_DEVINSTALL_PARAMS_W* parameters)
{
    const TreeLock lock;
    const DeviceNode* node = korvex::platform::PresentNode(element);
    if (node == nullptr)
        return FALSE;
    if (parameters->cbSize != sizeof(*parameters))
        return Fail(ERROR_INVALID_PARAMETER);
    parameters->Flags = node->installFlags;
    return TRUE;
}

BOOL SetupDiSetDeviceInstallParamsW(
    HDEVINFO /*devices*/, SP_DEVINFO_DATA* element, SP_DEVINSTALL_PARAMS_W* parameters)
{
    const TreeLock lock;
    DeviceNode* node = korvex::platform::PresentNode(element);
    if (node == nullptr)
        return FALSE;
    node->installFlags = parameters->Flags;
    return TRUE;
}
