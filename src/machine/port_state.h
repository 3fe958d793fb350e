// The ports of the device tree, as a detecting pass would find them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/win32.h"
#include "process/options.h"

namespace korvex::command {

struct PortState {
    DEVINST node;
    std::string name;  // COM3
    std::string path;  // that is opened, of its tty
    std::string panel; // the administrator's name of the panel on it; empty: it has none
    bool ignored;      // it is never asked
    std::string child; // what is on it, an instance ID; empty: nothing that is known
    uint32_t model;    // of the child; 0: none of the family
    bool bound;        // to the enumerator filter
};

// The states of all ports; none is opened.
std::vector<PortState> AllPorts();

// Whether `korvex check` asks it unless it is told to ask others: a panel is known there, or the
// port was given as NAME=PATH.
bool IsPanelPort(const Options* options, const PortState* port);

// A model as people write it, "5200"; empty for 0.
std::string ModelText(uint32_t model);

// Makes the filter ask each port with a known controller whether that is still there, as the
// refresh of a detection does. For a detecting pass without a refresh, which believes what is known
// of a port: a controller that was exchanged, or set to another rate, is then found.
void AskKnownControllers();

} // namespace korvex::command
