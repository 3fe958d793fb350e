#include "drivers/touch_driver.h"

#include <algorithm>
#include <cstring>

#include "link/driver_requests.h"

namespace korvex::drivers {

namespace {

bool Control(
    TouchDevice* device, DWORD code, const std::vector<BYTE>& input, std::vector<BYTE>* output)
{
    device->requests.push_back(code);
    if (code == TOUCH_SET_REPORT_MODE) {
        uint32_t mode = 0;
        if (input.size() != sizeof(mode))
            return false;
        memcpy(&mode, input.data(), sizeof(mode));
        device->reportModes.push_back(mode);
        return true;
    }
    const auto answer = std::find_if(device->answers.begin(), device->answers.end(),
        [code](const auto& known) { return known.first == code; });
    if (answer == device->answers.end() || output->size() < sizeof(uint32_t))
        return false;
    memcpy(output->data(), &answer->second, sizeof(uint32_t));
    return true;
}

} // namespace

std::shared_ptr<TouchDevice> AddTouchDevice(
    std::u16string_view instanceId, const std::vector<std::u16string>& hardwareIds, DEVINST parent)
{
    auto device = std::make_shared<TouchDevice>();
    const auto server = std::make_shared<platform::DeviceServer>();
    server->canOpen = [device] { return device->openable; };
    server->control
        = [device](DWORD code, const std::vector<BYTE>& input, std::vector<BYTE>* output) {
              return Control(device.get(), code, input, output);
          };
    platform::NodeOptions options;
    options.instanceId = instanceId;
    options.hardwareIds = hardwareIds;
    options.parent = parent;
    options.interfaces
        = {{TOUCH_INTERFACE_CLASS, u"\\\\?\\touch#" + std::u16string(instanceId), "", server}};
    platform::AddNode(options);
    return device;
}

} // namespace korvex::drivers
