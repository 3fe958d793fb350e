// What "korvex check" finds, one line each.
#pragma once

#include <string>
#include <vector>

namespace korvex::command {

enum class Severity { FINE, NOTE, FAULT };

struct Finding {
    Severity severity;
    std::string subject; // "display", "COM3"
    std::string text;    // what was found; of a fault also what to do
};

using Findings = std::vector<Finding>;

} // namespace korvex::command
