#include "platform/linux/serial/port_scan.h"

#include <libudev.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>
#include <tuple>

namespace korvex::platform {

namespace {

namespace fs = std::filesystem;

// The families that have their place; the others follow in the alphabet.
constexpr std::array<std::string_view, 3> FAMILIES{"ttyS", "ttyUSB", "ttyACM"};

// The kernel's name of a tty, in its parts.
struct TtyName {
    std::string whole;
    std::string family;
    int number;
};

// The order of the ports.
auto OrderOf(const TtyName* tty)
{
    const auto place = std::find(FAMILIES.begin(), FAMILIES.end(), tty->family) - FAMILIES.begin();
    return std::tuple(place, tty->family, tty->number);
}

// None for names without a number, which no serial port has, and for the virtual consoles.
std::optional<TtyName> ParseTtyName(const std::string& name)
{
    const size_t end = name.find_last_not_of("0123456789") + 1;
    if (end == 0 || end == name.size() || name.size() - end > 4 || name.substr(0, end) == "tty")
        return std::nullopt;
    return TtyName{name, name.substr(0, end), std::stoi(name.substr(end))};
}

// A port of a UART that does not exist has the type 0 (PORT_UNKNOWN).
bool HasDevice(const fs::path& entry)
{
    std::error_code error;
    if (!fs::exists(entry / "device", error))
        return false;
    std::ifstream file(entry / "type");
    int type = 1;
    return !(file >> type) || type != 0;
}

// The link in a folder that leads to a tty; empty when none does. Of several the first in the
// alphabet, so that the choice is the same after every start.
fs::path LinkTo(const std::string& path, const std::string& folder)
{
    std::error_code error;
    fs::path found;
    for (const fs::directory_entry& link : fs::directory_iterator(folder, error)) {
        std::error_code unresolved;
        if (fs::canonical(link.path(), unresolved) == fs::weakly_canonical(path, unresolved)
            && !unresolved)
            found = found.empty() ? link.path() : std::min(found, link.path());
    }
    return found;
}

std::string StablePath(const std::string& path, const std::string& devRoot)
{
    const fs::path stable = LinkTo(path, devRoot + "/serial/by-path");
    return stable.empty() ? path : stable.string();
}

} // namespace

std::vector<ScannedPort> ScanSerialPorts(const SystemRoots& roots)
{
    std::vector<TtyName> found;
    std::error_code error;
    for (const fs::directory_entry& entry :
        fs::directory_iterator(roots.sys + "/class/tty", error)) {
        const std::string name = entry.path().filename().string();
        const std::optional<TtyName> tty = ParseTtyName(name);
        if (tty && HasDevice(entry.path())
            && !IsKernelConsole(std::string(roots.dev).append("/").append(name), roots))
            found.push_back(*tty);
    }
    std::sort(found.begin(), found.end(),
        [](const TtyName& a, const TtyName& b) { return OrderOf(&a) < OrderOf(&b); });

    std::vector<ScannedPort> ports;
    int nextAdapter = FIRST_OTHER_PORT;
    for (const TtyName& tty : found) {
        const int number = tty.family == FAMILIES.front() ? tty.number + 1 : nextAdapter++;
        nextAdapter = std::max(nextAdapter, number + 1); // a machine may have more than 32 UARTs
        const std::string path = roots.dev + "/" + tty.whole;
        ports.push_back({"COM" + std::to_string(number), path, StablePath(path, roots.dev)});
    }
    return ports;
}

bool IsKernelConsole(const std::string& path, const SystemRoots& roots)
{
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical(path, error);
    std::ifstream consoles(roots.proc + "/consoles");
    for (std::string line; std::getline(consoles, line);) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        if (resolved.filename() == name)
            return true;
    }
    return false;
}

std::string GivenPanelNameOf(const std::string& path, const SystemRoots& roots)
{
    const fs::path folder = roots.dev + "/korvex";
    const fs::path given = fs::path(path).lexically_normal();
    return (given.parent_path() == folder ? given : LinkTo(path, folder.string()))
        .filename()
        .string();
}

std::vector<PortProperty> PortsWithProperty(const char* property)
{
    std::vector<PortProperty> ports;
    udev* context = udev_new();
    if (context == nullptr)
        return ports;
    udev_enumerate* found = udev_enumerate_new(context);
    udev_enumerate_add_match_subsystem(found, "tty");
    udev_enumerate_add_match_property(found, property, "*");
    udev_enumerate_scan_devices(found);
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(found))
    {
        udev_device* device
            = udev_device_new_from_syspath(context, udev_list_entry_get_name(entry));
        const char* path = device == nullptr ? nullptr : udev_device_get_devnode(device);
        const char* value
            = device == nullptr ? nullptr : udev_device_get_property_value(device, property);
        if (path != nullptr && value != nullptr)
            ports.push_back({path, value});
        udev_device_unref(device);
    }
    udev_enumerate_unref(found);
    udev_unref(context);
    std::sort(ports.begin(), ports.end(),
        [](const PortProperty& a, const PortProperty& b) { return a.path < b.path; });
    return ports;
}

std::string UdevProperty(const std::string& path, const char* property)
{
    struct stat status{};
    udev* context
        = stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode) ? udev_new() : nullptr;
    if (context == nullptr)
        return "";
    udev_device* device = udev_device_new_from_devnum(context, 'c', status.st_rdev);
    const char* value
        = device == nullptr ? nullptr : udev_device_get_property_value(device, property);
    std::string text = value == nullptr ? "" : value;
    udev_device_unref(device);
    udev_unref(context);
    return text;
}

bool IsUdevSwitchOn(const std::string& path, const char* property)
{
    const std::string value = UdevProperty(path, property);
    return !value.empty() && value != "0";
}

bool IsPortIgnored(const std::string& path)
{
    return IsUdevSwitchOn(path, "ID_KORVEX_IGNORE");
}

} // namespace korvex::platform
