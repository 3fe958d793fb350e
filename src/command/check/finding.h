// Findings of "korvex check", one line each.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace korvex::command {

enum class Severity { OK, NOTE, FAULT };

struct Finding {
    Severity severity;
    std::string subject; // "display", "COM3"
    std::string text;    // what was found; of a fault also what to do
};

using Findings = std::vector<Finding>;

// True when one of them is a fault.
inline bool HasFault(const Findings* findings)
{
    return std::any_of(findings->begin(), findings->end(),
        [](const Finding& finding) { return finding.severity == Severity::FAULT; });
}

} // namespace korvex::command
