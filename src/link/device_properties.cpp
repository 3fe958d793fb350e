#include "link/device_properties.h"

#include <cstdlib>

namespace korvex {

bool ReadFirstEntry(HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD property, PropertyText* entry)
{
    entry->fill(0);
    auto* buffer = reinterpret_cast<BYTE*>(entry->data());
    if (SetupDiGetDeviceRegistryPropertyW(
            devices, element, property, nullptr, buffer, TEXT_CAPACITY * sizeof(WCHAR), nullptr)
        != FALSE)
        return true;
    entry->fill(0);
    return false;
}

SP_DEVICE_INTERFACE_DETAIL_DATA_W* ReadInterfaceDetail(
    HDEVINFO devices, SP_DEVICE_INTERFACE_DATA* deviceInterface, SP_DEVINFO_DATA* element)
{
    DWORD size = 0;
    SetupDiGetDeviceInterfaceDetailW(devices, deviceInterface, nullptr, 0, &size, nullptr);
    if (size == 0)
        return nullptr;
    auto* detail = static_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(malloc(size));
    if (detail == nullptr)
        return nullptr;
    detail->cbSize = sizeof(*detail);
    if (SetupDiGetDeviceInterfaceDetailW(devices, deviceInterface, detail, size, nullptr, element)
        != FALSE)
        return detail;
    free(detail);
    return nullptr;
}

} // namespace korvex
