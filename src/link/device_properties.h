// A device in SetupAPI: its properties and the detail data of its interfaces.
#pragma once

#include <array>

#include "platform/win32.h"
#include "support/bounded_text.h"
#include "support/owned.h"

namespace korvex {

// The unit after the largest text that is read is always zero: properties and values need not carry
// a terminator.
using PropertyText = std::array<WCHAR, TEXT_CAPACITY + 1>;

// The first entry of a REG_MULTI_SZ property (SPDRP_HARDWAREID, SPDRP_UPPERFILTERS). False, with an
// empty text, when the property cannot be read or takes more than TEXT_CAPACITY units.
bool ReadFirstEntry(
    HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD property, PropertyText* entry);

// The interface's detail data (its path), in memory from malloc, which the caller frees; null when
// it cannot be read. `element`, when not null, gets the interface's device.
SP_DEVICE_INTERFACE_DETAIL_DATA_W* ReadInterfaceDetail(
    HDEVINFO devices, SP_DEVICE_INTERFACE_DATA* deviceInterface, SP_DEVINFO_DATA* element);

// Calls `visit(devices, element, path)` for each present interface of the class, in order, those of
// one device only when `deviceId` is not null: with the set, the interface's device in it, and the
// interface's path, null if that cannot be read. Ends early, and returns true, when a call
// returns true.
template <typename Visit>
bool VisitInterfaces(const GUID* interfaceClass, const WCHAR* deviceId, Visit visit)
{
    const OwnedDevices devices(SetupDiGetClassDevsW(
        interfaceClass, deviceId, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
    if (!IsOpen(devices.value))
        return false;
    for (DWORD index = 0;; ++index) {
        SP_DEVICE_INTERFACE_DATA deviceInterface{};
        deviceInterface.cbSize = sizeof(deviceInterface);
        if (SetupDiEnumDeviceInterfaces(
                devices.value, nullptr, interfaceClass, index, &deviceInterface)
            == FALSE)
            return false;
        SP_DEVINFO_DATA element{};
        element.cbSize = sizeof(element);
        const OwnedMemory<SP_DEVICE_INTERFACE_DETAIL_DATA_W> detail(
            ReadInterfaceDetail(devices.value, &deviceInterface, &element));
        if (visit(devices.value, &element,
                detail.value == nullptr ? nullptr : detail.value->DevicePath))
            return true;
    }
}

} // namespace korvex
