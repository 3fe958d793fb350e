#include "link/interface_detail.h"

#include <cstdlib>

namespace korvex {

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
    if (SetupDiGetDeviceInterfaceDetailW(devices, deviceInterface, detail, size, nullptr, element) != FALSE)
        return detail;
    free(detail);
    return nullptr;
}

} // namespace korvex
