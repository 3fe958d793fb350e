#include "platform/linux/pointer/pointer_uinput.h"

#include <fcntl.h>
#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/linux/core/input_line.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pixels.h"
#include "platform/linux/pointer/touch_events.h"

namespace korvex::platform {

namespace {

constexpr const char* UINPUT = "/dev/uinput";

struct KernelDevice {
    int descriptor = -1;
    libevdev_uinput* device = nullptr;
    TouchState state{false, 0, 0};            // of a touch screen
    std::unique_ptr<KernelDevice> right = {}; // the device of its right clicks; null: none

    KernelDevice() = default;
    ~KernelDevice()
    {
        if (device != nullptr)
            libevdev_uinput_destroy(device);
        if (descriptor >= 0)
            close(descriptor);
    }
    KernelDevice(const KernelDevice&) = delete;
    KernelDevice& operator=(const KernelDevice&) = delete;
};

struct KernelDevices {
    std::function<std::string(const std::string& path)> nameOfPanel;

    std::mutex mutex; // guards the rest
    // null: it could not be made yet
    std::map<const InputLine*, std::unique_ptr<KernelDevice>> devices;
    std::chrono::steady_clock::time_point lastAttempt;
    POINT position{0, 0}; // in absolute coordinates
};

// Desktops keep a touch screen's monitor by its product number. One made of the panel's name stays
// when the controller is exchanged, and distinguishes two equal panels: the hash FNV-1a, folded to
// 16 bits.
int ProductOf(const std::string& name)
{
    uint32_t hash = 2166136261;
    for (const char unit : name)
        hash = (hash ^ static_cast<uint8_t>(unit)) * 16777619;
    const uint32_t folded = (hash >> 16 ^ hash) & 0xFFFF;
    return static_cast<int>(std::max<uint32_t>(folded, 1));
}

enum class DeviceKind : uint8_t { TOUCH_SCREEN, RIGHT_BUTTON };

// The physical path of a panel's device stays, like the product number, when the controller or its
// port is another.
std::string PathOf(const std::string& panel, DeviceKind kind)
{
    return "korvex/" + panel + (kind == DeviceKind::TOUCH_SCREEN ? "/input0" : "/input1");
}

// A direct touch screen has no mouse button: with one, desktops take it for a mouse. So right
// clicks have a device of their own, a mouse with absolute axes, which desktops only take for one
// when it has a left button too.
libevdev* Describe(const std::string& panel, DeviceKind kind)
{
    libevdev* description = libevdev_new();
    if (description == nullptr)
        return nullptr;
    const bool isScreen = kind == DeviceKind::TOUCH_SCREEN;
    input_absinfo axis{};
    axis.maximum = MAX_TOUCH_COORDINATE;
    const std::string name = (isScreen ? "Korvex touch panel " : "Korvex right button ") + panel;
    libevdev_set_name(description, name.c_str());
    libevdev_set_id_bustype(description, BUS_RS232);
    libevdev_set_id_product(description, ProductOf(isScreen ? panel : name));
    if (isScreen) {
        libevdev_enable_property(description, INPUT_PROP_DIRECT);
        libevdev_enable_event_code(description, EV_KEY, BTN_TOUCH, nullptr);
    } else {
        libevdev_enable_event_code(description, EV_KEY, BTN_LEFT, nullptr);
        libevdev_enable_event_code(description, EV_KEY, BTN_RIGHT, nullptr);
    }
    libevdev_enable_event_code(description, EV_ABS, ABS_X, &axis);
    libevdev_enable_event_code(description, EV_ABS, ABS_Y, &axis);
    return description;
}

// Null when the system refuses.
std::unique_ptr<KernelDevice> MakeDevice(const std::string& panel, DeviceKind kind)
{
    auto made = std::make_unique<KernelDevice>();
    made->descriptor = open(UINPUT, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (made->descriptor < 0)
        return nullptr;
    // libevdev does not carry the physical path; it stays when it is set before.
    ioctl(made->descriptor, UI_SET_PHYS, PathOf(panel, kind).c_str());
    const std::unique_ptr<libevdev, void (*)(libevdev*)> description(
        Describe(panel, kind), libevdev_free);
    if (description == nullptr
        || libevdev_uinput_create_from_device(description.get(), made->descriptor, &made->device)
            != 0)
        return nullptr;
    return made;
}

// The line's device, with the lock held; null when it cannot be made, which is retried once a
// second. Releases the lock while it describes a new panel, so that other lines are not delayed.
KernelDevice* DeviceOf(
    KernelDevices* all, const InputLine* line, std::unique_lock<std::mutex>* lock)
{
    constexpr std::chrono::seconds RETRY_INTERVAL{1};
    const auto known = all->devices.find(line);
    if (known != all->devices.end()
        && (known->second != nullptr
            || std::chrono::steady_clock::now() - all->lastAttempt < RETRY_INTERVAL))
        return known->second.get();
    const bool first = known == all->devices.end();
    all->lastAttempt = std::chrono::steady_clock::now();
    lock->unlock();
    const std::string panel = all->nameOfPanel(line->path);
    std::unique_ptr<KernelDevice> made = MakeDevice(panel, DeviceKind::TOUCH_SCREEN);
    if (made != nullptr && ThisMachine()->touches.rightHold.count() > 0) {
        made->right = MakeDevice(panel, DeviceKind::RIGHT_BUTTON);
        if (made->right == nullptr)
            made = nullptr;
    }
    if (const auto& told = ThisMachine()->handlers.deviceRefused; made == nullptr && first && told)
        told(line->path, errno);
    lock->lock();
    return (all->devices[line] = std::move(made)).get();
}

bool WriteRightButton(const KernelDevice* right, const MOUSEINPUT* input)
{
    const auto write = [right](unsigned type, unsigned code, int value) {
        return libevdev_uinput_write_event(right->device, type, code, value) == 0;
    };
    const auto place
        = [](LONG coordinate) { return std::clamp<LONG>(coordinate, 0, MAX_TOUCH_COORDINATE); };
    return right != nullptr && write(EV_ABS, ABS_X, place(input->dx))
        && write(EV_ABS, ABS_Y, place(input->dy))
        && write(EV_KEY, BTN_RIGHT, (input->dwFlags & MOUSEEVENTF_RIGHTDOWN) != 0 ? 1 : 0)
        && write(EV_SYN, SYN_REPORT, 0);
}

bool Send(KernelDevices* all, const INPUT* input)
{
    const InputLine* line = LineOfThread().get();
    std::unique_lock lock(all->mutex);
    if ((input->mi.dwFlags & MOUSEEVENTF_MOVE) != 0)
        all->position = {input->mi.dx, input->mi.dy};
    KernelDevice* device = line == nullptr ? nullptr : DeviceOf(all, line, &lock);
    if (device == nullptr)
        return false;
    if ((input->mi.dwFlags & (MOUSEEVENTF_RIGHTDOWN | MOUSEEVENTF_RIGHTUP)) != 0)
        return WriteRightButton(device->right.get(), &input->mi);
    TouchState next = device->state;
    if ((input->mi.dwFlags & MOUSEEVENTF_MOVE) != 0)
        next = {next.touching, input->mi.dx, input->mi.dy};
    if ((input->mi.dwFlags & (MOUSEEVENTF_LEFTDOWN | MOUSEEVENTF_LEFTUP)) != 0)
        next.touching = (input->mi.dwFlags & MOUSEEVENTF_LEFTDOWN) != 0;
    if (!next.touching && !device->state.touching)
        return true; // a touch screen has no pointer to move
    if (!WriteTouch(device->descriptor, &device->state, &next))
        return false;
    device->state = next;
    return true;
}

} // namespace

bool UseInputDevices(const PointerSettings& settings, std::string* reason)
{
    if (!CanMakeInputDevices(reason))
        return false;
    const auto all = std::make_shared<KernelDevices>();
    all->nameOfPanel = settings.nameOfPanel;
    ThisMachine()->pointer = {
        .send = [all](const INPUT* input) { return Send(all.get(), input); },
        .position =
            [all](POINT* position) {
                const Screen* screen = &ThisMachine()->screen;
                const std::lock_guard guard(all->mutex);
                *position = {PixelOf(all->position.x, screen->width),
                    PixelOf(all->position.y, screen->height)};
                return true;
            },
        .lineWaits =
            [all](const InputLine* line) {
                std::unique_lock lock(all->mutex);
                DeviceOf(all.get(), line, &lock);
            },
        .lineClosed =
            [all](const InputLine* line) {
                const std::lock_guard guard(all->mutex);
                all->devices.erase(line);
            },
    };
    return true;
}

bool CanMakeInputDevices(std::string* reason)
{
    const int descriptor = open(UINPUT, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        *reason = "cannot open ";
        reason->append(UINPUT).append(": ").append(strerror(errno));
        return false;
    }
    close(descriptor);
    return true;
}

} // namespace korvex::platform
