// Control requests of the touch driver, which serves the controllers that the system presents as
// devices of their own. Each request completes before its routine returns. Results are true for
// success.
#pragma once

#include <cstdint>

#include "link/touch_controller.h"
#include "platform/win32.h"

namespace korvex {

// The interface class under which the driver registers each controller.
inline constexpr GUID TOUCH_INTERFACE_CLASS
    = {0x7B3F12C4, 0x5A0E, 0x4D19, {0x9C, 0x62, 0x0E, 0x84, 0xB1, 0xD7, 0xA3, 0x5F}};

// I/O control codes: device type FILE_DEVICE_UNKNOWN, METHOD_BUFFERED, FILE_ANY_ACCESS. Each
// carries one 32-bit value, out of the driver but for the last.
inline constexpr DWORD TOUCH_IDENTITY_A = 0x223C00;
inline constexpr DWORD TOUCH_IDENTITY_B = 0x223C04;
inline constexpr DWORD TOUCH_IDENTITY_C = 0x223C80;
inline constexpr DWORD TOUCH_MODEL = 0x223D24;
inline constexpr DWORD TOUCH_FIRMWARE_FIRST = 0x223CA8;
inline constexpr DWORD TOUCH_FIRMWARE_SECOND = 0x223CAC;
inline constexpr DWORD TOUCH_BAUD_RATE = 0x223CB4;
inline constexpr DWORD TOUCH_SET_REPORT_MODE = 0x223D20;

// Report modes.
inline constexpr int REPORT_MODE_MOUSE = 1;
inline constexpr int REPORT_MODE_TABLET = 2;
inline constexpr int LARGEST_REPORT_MODE = 2;

// Fills the record's identity (usbInfoA to C, model, firmware version, the link's baudRate) from
// the driver that serves the device with this instance ID. The value of a failed request is 0, but
// model and baudRate stay. True when the device has an interface whose path could be read, even one
// that could not be opened, which leaves the record unchanged.
bool QueryDriverIdentity(TouchController* controller, const WCHAR* deviceId);

// Opens the present touch device whose first hardware ID is this one, without regard to case.
// INVALID_HANDLE_VALUE when there is none or it cannot be opened. The caller closes the handle.
HANDLE OpenTouchDevice(const WCHAR* hardwareId);

// Sets the driver's report mode, 0 to LARGEST_REPORT_MODE; any other mode and an invalid handle
// send nothing.
void SetReportMode(HANDLE device, int mode);

// The routines below are single requests: an invalid handle or a missing output sends nothing and
// fails.

// The three identity values. All are always asked; an output whose request failed is left alone.
// True when none failed.
bool ReadIdentityInfo(HANDLE device, uint32_t* first, uint32_t* second, uint32_t* third);

// The model code; on false the output is left alone.
bool ReadDriverModel(HANDLE device, uint32_t* model);

// The version as major << 16 | minor << 8 | build; stored only when both of its requests succeeded.
bool ReadDriverFirmware(HANDLE device, uint32_t* version);

// The baud rate. Fails for a rate other than 9600 and 19200, which is stored all the same.
bool ReadDriverBaud(HANDLE device, uint32_t* baudRate);

} // namespace korvex
