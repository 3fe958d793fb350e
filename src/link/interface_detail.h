// The detail data of a device interface.
#pragma once

#include "platform/win32.h"

namespace korvex {

// The interface's detail data (its path), in memory from malloc, which the caller frees; null when it cannot be read. `element`, when not
// null, gets the interface's device.
SP_DEVICE_INTERFACE_DETAIL_DATA_W* ReadInterfaceDetail(
    HDEVINFO devices, SP_DEVICE_INTERFACE_DATA* deviceInterface, SP_DEVINFO_DATA* element);

} // namespace korvex
