// A recording as anyone may have written it: parsing ends, and what it lets through can be played.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "command/recording/recording.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace korvex;
    command::Recording recording;
    std::string error;
    if (!command::ParseRecording(
            std::string_view(reinterpret_cast<const char*>(data), size), &recording, &error)) {
        if (error.empty())
            abort();
        return 0;
    }
    std::chrono::microseconds last{0};
    for (const command::RecordedReport& report : recording.reports) {
        if (report.bytes.empty() || report.time < last)
            abort();
        last = report.time;
    }
    return 0;
}
