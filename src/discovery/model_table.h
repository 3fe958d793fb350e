// The meaning of a device's identifiers: whether it is a controller of the family, which model, on
// which bus, and whether a COM port is bound to the serial enumerator filter. Any thread.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace korvex {

// The service of the serial enumerator filter; its name as an upper filter and as the base name of
// its INF file too.
inline constexpr const WCHAR* ENUMERATOR_SERVICE = TEXT("KXSERENUM");

inline constexpr uint8_t BUS_UNKNOWN = 0;
inline constexpr uint8_t BUS_USB = 1;
inline constexpr uint8_t BUS_SERIAL_ENUMERATOR = 2;

// The model code of a device instance ID or hardware ID, without regard to case; 0 when it is no
// controller's. Known forms:
//   SERENUM\xxxnnnn                 (any three maker letters)
//   USB\KVXnnnn, HID\KVXnnnn
//   USB\VID_2C7A&PID_nnnn           (products 5201 and 5203 are model 0x5200)
//   USB\VID_3381&PID_6646           (model 0x4400)
uint32_t ModelFromHardwareId(const WCHAR* text);

// The bus by the first hardware ID of the device; BUS_UNKNOWN if its hardware IDs cannot be read.
uint8_t BusKindFromHardwareId(HDEVINFO devices, SP_DEVINFO_DATA* element);

// True when the port's first upper filter is the serial enumerator's and its device node has no
// problem. A port whose filters or status cannot be read is not bound.
bool IsEnumeratorBound(HDEVINFO devices, SP_DEVINFO_DATA* element);

} // namespace korvex
