// A line that carries anything: every report that is accepted must be one that the model can send.

#include <cstdlib>

#include "harness.h"
#include "reports.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    fuzz::Input input{bytes, size};
    const fuzz::MemoryLine line(fuzz::TakeController(&input));
    Give(&line, &input, input.size);
    // Each call takes at least one byte from the line.
    while (!IsUsedUp(&line))
        fuzz::TakeReport(line.controller);
    fuzz::TakeReport(line.controller); // at its end
    return 0;
}
