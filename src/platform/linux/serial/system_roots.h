// The file systems in which the kernel and udev show ports.
#pragma once

#include <string>

namespace korvex::platform {

// Other folders in tests.
struct SystemRoots {
    std::string sys = "/sys";
    std::string dev = "/dev";
    std::string proc = "/proc";
};

} // namespace korvex::platform
