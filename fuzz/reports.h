// Reading reports, for the targets that feed a line.
#pragma once

#include <cstdlib>

#include "input/pointer_injection.h"
#include "input/touch_report.h"

namespace korvex::fuzz {

// Reads one report and injects it. Aborts on one that the model cannot send.
inline void TakeReport(TouchController* controller)
{
    Packet report{};
    if (ReadReport(controller, &report) != ReadResult::REPORT)
        return;
    const Point point = DecodeReport(controller, report.data());
    const int32_t limit = int32_t{1} << controller->resolutionBits;
    if (point.x < 0 || point.y < 0 || point.x >= limit || point.y >= limit
        || ClassifyStatus(controller, report[0]) == CONTACT_INVALID)
        abort();
    InjectReport(controller, report.data());
}

} // namespace korvex::fuzz
