// Stand-in for the maker's touch driver: devices with its control interface, which return the
// answers that they were given and remember the requests.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/devices/device_tree.h"

namespace korvex::drivers {

struct TouchDevice {
    // to requests by their control code; one that is not here fails
    std::vector<std::pair<DWORD, uint32_t>> answers;
    std::vector<DWORD> requests;       // that have come, in order
    std::vector<uint32_t> reportModes; // that were set, in order
    bool openable = true;
};

// Adds a touch device to the machine, below `parent` (0: the root). The driver holds on to the
// record, which is used by the threads that open the device.
std::shared_ptr<TouchDevice> AddTouchDevice(std::u16string_view instanceId,
    const std::vector<std::u16string>& hardwareIds, DEVINST parent = 0);

} // namespace korvex::drivers
