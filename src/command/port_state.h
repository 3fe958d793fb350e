// The ports of the device tree, as a detecting pass would find them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "command/options.h"
#include "platform/win32.h"

namespace korvex::command {

struct PortState {
    DEVINST node;
    std::string name;  // COM3
    std::string path;  // of its tty
    std::string child; // what is on it, an instance ID; empty: nothing that is known
    uint32_t model;    // of the child; 0: none of the family
    bool bound;        // to the enumerator filter
};

// The states of all ports; none is opened.
std::vector<PortState> AllPorts();

// The path of the tty of a port that is given by its name, COM3, or by its path; the text itself where no port has that name.
std::string PathOfPort(const Options* options, const std::string& port);

// A model as people write it, "5200"; empty for 0.
std::string ModelText(uint32_t model);

} // namespace korvex::command
