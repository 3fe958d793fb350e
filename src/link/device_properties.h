// What SetupAPI tells of a device: its properties and the detail data of its interfaces.
#pragma once

#include <array>

#include "platform/win32.h"
#include "support/bounded_text.h"

namespace korvex {

// The unit behind the largest text that is read is always zero: properties and values need not carry a terminator.
using PropertyText = std::array<WCHAR, TEXT_CAPACITY + 1>;

// The first entry of a REG_MULTI_SZ property (SPDRP_HARDWAREID, SPDRP_UPPERFILTERS). False, with an empty text, when the property cannot
// be read or takes more than TEXT_CAPACITY units.
bool ReadFirstEntry(HDEVINFO devices, SP_DEVINFO_DATA* element, DWORD property, PropertyText* entry);

// The interface's detail data (its path), in memory from malloc, which the caller frees; null when it cannot be read. `element`, when not
// null, gets the interface's device.
SP_DEVICE_INTERFACE_DETAIL_DATA_W* ReadInterfaceDetail(
    HDEVINFO devices, SP_DEVICE_INTERFACE_DATA* deviceInterface, SP_DEVINFO_DATA* element);

} // namespace korvex
