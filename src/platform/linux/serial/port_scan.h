// The system's serial ports.
#pragma once

#include <string>
#include <vector>

#include "platform/linux/serial/system_roots.h"

namespace korvex::platform {

// The number of the first port that is none of the up to 32 UARTs: COM33.
inline constexpr int FIRST_OTHER_PORT = 33;

struct ScannedPort {
    // "COM1": ttyS0 is COM1, ttyS1 COM2 and so on; USB adapters (ttyUSB, ttyACM) follow from COM33,
    // or after the last UART, and then the ports of other drivers (ttyAMA, ttymxc).
    std::string name;
    std::string path; // /dev/ttyS0
    // that of the adapter across runs, below /dev/serial/by-path, where it has one; else `path`
    std::string stablePath;
};

// The entries of /sys/class/tty with a device, whatever its driver, in the order of their names;
// never one that is a kernel console (/proc/consoles).
std::vector<ScannedPort> ScanSerialPorts(const SystemRoots& roots = {});

// True when the tty is a kernel console.
bool IsKernelConsole(const std::string& path, const SystemRoots& roots = {});

// The name that the administrator has given the panel on a tty: of the links to it below
// /dev/korvex the first in the alphabet; empty when there is none. A link itself names its panel
// also while the tty is not there.
std::string GivenPanelNameOf(const std::string& path, const SystemRoots& roots = {});

// True if no program may ask what is on a tty: its udev property ID_KORVEX_IGNORE is set, and not
// 0.
bool IsPortIgnored(const std::string& path);

struct PortProperty {
    std::string path; // of the tty
    std::string value;
};

// The ttys for which udev has the property, in the order of their paths.
std::vector<PortProperty> PortsWithProperty(const char* property);

// The port's property in udev; empty: it has none.
std::string UdevProperty(const std::string& path, const char* property);

// Whether udev has a property for the port that is neither empty nor "0".
bool IsUdevSwitchOn(const std::string& path, const char* property);

} // namespace korvex::platform
