#include "link/driver_requests.h"

#include "link/device_properties.h"
#include "support/compare_no_case.h"
#include "support/owned.h"

namespace korvex {

namespace {

// One request for a 32-bit value; the output is written only on success.
bool Request(HANDLE device, DWORD code, uint32_t* output)
{
    if (!IsOpen(device) || output == nullptr)
        return false;
    uint32_t value = 0;
    DWORD returned = 0;
    if (DeviceIoControl(device, code, nullptr, 0, &value, sizeof(value), &returned, nullptr)
        == FALSE)
        return false;
    *output = value;
    return true;
}

HANDLE OpenInterface(const WCHAR* path)
{
    return CreateFileW(
        path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
}

bool HasHardwareId(HDEVINFO devices, SP_DEVINFO_DATA* element, const WCHAR* hardwareId)
{
    PropertyText entry{};
    return ReadFirstEntry(devices, element, SPDRP_HARDWAREID, &entry)
        && EqualsNoCase(entry.data(), -1, hardwareId, -1);
}

void ReadIdentity(TouchController* controller, HANDLE device)
{
    uint32_t first = 0;
    uint32_t second = 0;
    uint32_t third = 0;
    ReadIdentityInfo(device, &first, &second, &third);
    controller->usbInfoA = static_cast<uint8_t>(first & 0xFF);
    controller->usbInfoB = static_cast<uint8_t>(second & 0xFF);
    controller->usbInfoC = static_cast<uint16_t>(third & 0xFFFF);
    ReadDriverModel(device, &controller->model);
    uint32_t version = 0;
    ReadDriverFirmware(device, &version);
    controller->fwMajor = static_cast<uint8_t>((version >> 16) & 0xFF);
    controller->fwMinor = static_cast<uint8_t>((version >> 8) & 0xFF);
    controller->fwBuild = static_cast<uint16_t>(version & 0xFF);
    ReadDriverBaud(device, &controller->link.baudRate);
}

} // namespace

bool QueryDriverIdentity(TouchController* controller, const WCHAR* deviceId)
{
    bool pathRead = false;
    VisitInterfaces(&TOUCH_INTERFACE_CLASS, deviceId,
        [&](HDEVINFO /*devices*/, SP_DEVINFO_DATA* /*element*/, const WCHAR* path) {
            pathRead = path != nullptr;
            const OwnedHandle device(pathRead ? OpenInterface(path) : INVALID_HANDLE_VALUE);
            if (IsOpen(device.value))
                ReadIdentity(controller, device.value);
            return true; // only the first interface is used
        });
    return pathRead;
}

HANDLE OpenTouchDevice(const WCHAR* hardwareId)
{
    HANDLE device = INVALID_HANDLE_VALUE;
    VisitInterfaces(&TOUCH_INTERFACE_CLASS, nullptr,
        [&](HDEVINFO devices, SP_DEVINFO_DATA* element, const WCHAR* path) {
            if (path == nullptr || !HasHardwareId(devices, element, hardwareId))
                return false;
            device = OpenInterface(path);
            return true;
        });
    return device;
}

void SetReportMode(HANDLE device, int mode)
{
    if (!IsOpen(device) || mode < 0 || mode > LARGEST_REPORT_MODE)
        return;
    auto value = static_cast<uint32_t>(mode);
    DWORD returned = 0;
    DeviceIoControl(
        device, TOUCH_SET_REPORT_MODE, &value, sizeof(value), nullptr, 0, &returned, nullptr);
}

bool ReadIdentityInfo(HANDLE device, uint32_t* first, uint32_t* second, uint32_t* third)
{
    if (first == nullptr || second == nullptr || third == nullptr)
        return false;
    const bool firstRead = Request(device, TOUCH_IDENTITY_A, first);
    const bool secondRead = Request(device, TOUCH_IDENTITY_B, second);
    const bool thirdRead = Request(device, TOUCH_IDENTITY_C, third);
    return firstRead && secondRead && thirdRead;
}

bool ReadDriverModel(HANDLE device, uint32_t* model)
{
    return Request(device, TOUCH_MODEL, model);
}

bool ReadDriverFirmware(HANDLE device, uint32_t* version)
{
    if (version == nullptr)
        return false;
    uint32_t first = 0;
    uint32_t second = 0;
    const bool firstRead = Request(device, TOUCH_FIRMWARE_FIRST, &first);
    const bool secondRead = Request(device, TOUCH_FIRMWARE_SECOND, &second);
    if (!firstRead || !secondRead)
        return false;
    // byte 1 of the second part means nothing
    *version = (first & 0xFF) << 16 | ((second >> 16) & 0xFF) << 8 | (second & 0xFF);
    return true;
}

bool ReadDriverBaud(HANDLE device, uint32_t* baudRate)
{
    return Request(device, TOUCH_BAUD_RATE, baudRate) && (*baudRate == 9600 || *baudRate == 19200);
}

} // namespace korvex
