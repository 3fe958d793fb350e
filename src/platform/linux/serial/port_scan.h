// The system's serial ports.
#pragma once

#include <string>
#include <vector>

namespace korvex::platform {

struct ScannedPort {
    std::string
        name; // "COM1": ttyS0 is COM1, ttyS1 COM2 and so on; USB adapters (ttyUSB, ttyACM) follow from COM33, or behind the last UART
    std::string path;       // /dev/ttyS0
    std::string stablePath; // that of the adapter across runs, below /dev/serial/by-path, where it has one; else `path`
};

// The entries of /sys/class/tty that have a device behind them, in the order of their names; never one that is a kernel console
// (/proc/consoles). The three roots are "/sys", "/dev" and "/proc", other folders in tests.
std::vector<ScannedPort> ScanSerialPorts(const std::string& sysRoot, const std::string& devRoot, const std::string& procRoot);

// True when the tty is a kernel console.
bool IsKernelConsole(const std::string& path, const std::string& procRoot);

} // namespace korvex::platform
