#include "platform/linux/serial/port_scan.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

namespace korvex::platform {

namespace {

namespace fs = std::filesystem;

constexpr int FIRST_USB_NUMBER = 33;

// The kernel's name of a tty, in its parts.
struct TtyName {
    std::string_view family;
    int number;
};

std::optional<TtyName> ParseTtyName(std::string_view name)
{
    for (const std::string_view family : {"ttyS", "ttyUSB", "ttyACM"}) {
        const std::string_view digits = name.starts_with(family) ? name.substr(family.size()) : "";
        if (!digits.empty() && digits.size() < 5 && digits.find_first_not_of("0123456789") == std::string_view::npos)
            return TtyName{family, std::stoi(std::string(digits))};
    }
    return std::nullopt;
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

// Of several links to one adapter the first in the alphabet, so that the choice is the same after every start.
std::string StablePath(const std::string& path, const std::string& devRoot)
{
    std::error_code error;
    std::string stable;
    for (const fs::directory_entry& link : fs::directory_iterator(devRoot + "/serial/by-path", error)) {
        std::error_code unresolved;
        if (fs::canonical(link.path(), unresolved) == fs::weakly_canonical(path, unresolved) && !unresolved)
            stable = stable.empty() ? link.path().string() : std::min(stable, link.path().string());
    }
    return stable.empty() ? path : stable;
}

} // namespace

std::vector<ScannedPort> ScanSerialPorts(const std::string& sysRoot, const std::string& devRoot, const std::string& procRoot)
{
    struct Found {
        int family; // the UARTs first, then the adapters
        int number;
        std::string name;
    };
    std::vector<Found> found;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(sysRoot + "/class/tty", error)) {
        const std::string name = entry.path().filename().string();
        const std::optional<TtyName> tty = ParseTtyName(name);
        if (tty && HasDevice(entry.path()) && !IsKernelConsole(std::string(devRoot).append("/").append(name), procRoot))
            found.push_back({tty->family == "ttyS" ? 0 : tty->family == "ttyUSB" ? 1 : 2, tty->number, name});
    }
    std::sort(found.begin(), found.end(),
        [](const Found& a, const Found& b) { return std::pair(a.family, a.number) < std::pair(b.family, b.number); });

    std::vector<ScannedPort> ports;
    int nextUsb = FIRST_USB_NUMBER;
    for (const Found& tty : found) {
        const int number = tty.family == 0 ? tty.number + 1 : nextUsb++;
        nextUsb = std::max(nextUsb, number + 1); // a machine may have more than 32 UARTs
        const std::string path = devRoot + "/" + tty.name;
        ports.push_back({"COM" + std::to_string(number), path, StablePath(path, devRoot)});
    }
    return ports;
}

bool IsKernelConsole(const std::string& path, const std::string& procRoot)
{
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical(path, error);
    std::ifstream consoles(procRoot + "/consoles");
    for (std::string line; std::getline(consoles, line);) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        if (resolved.filename() == name)
            return true;
    }
    return false;
}

} // namespace korvex::platform
