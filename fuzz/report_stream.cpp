// A line that carries anything: every report that is accepted must be one that the model can send.

#include <cstdlib>

#include "harness.h"
#include "input/pointer_injection.h"
#include "input/touch_report.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    fuzz::Input input{bytes, size};
    const fuzz::FuzzLine line(&input);
    Packet report{};
    // Each call takes at least one byte from the line or finds it at its end.
    for (size_t i = 0; i <= input.size; ++i) {
        if (!ReadReport(line.controller, &report))
            continue;
        const Point point = DecodeReport(line.controller, report.data());
        const int32_t limit = int32_t{1} << line.controller->resolutionBits;
        if (point.x < 0 || point.y < 0 || point.x >= limit || point.y >= limit
            || ClassifyStatus(line.controller, report[0]) == CONTACT_INVALID)
            abort();
        InjectReport(line.controller, report.data());
    }
    return 0;
}
