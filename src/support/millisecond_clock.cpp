#include "support/millisecond_clock.h"

#include "platform/win32.h"

namespace korvex {

uint32_t NowMs()
{
    constexpr uint64_t INTERVALS_PER_MILLISECOND = 10000; // a file time counts 100 ns
    SYSTEMTIME now{};
    FILETIME intervals{};
    GetSystemTime(&now);
    SystemTimeToFileTime(&now, &intervals);
    const uint64_t count
        = (static_cast<uint64_t>(intervals.dwHighDateTime) << 32) | intervals.dwLowDateTime;
    return static_cast<uint32_t>(count / INTERVALS_PER_MILLISECOND);
}

} // namespace korvex
