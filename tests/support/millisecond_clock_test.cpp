#include "support/millisecond_clock.h"

#include <cstdint>

#include "platform/win32.h"
#include "testing/testing.h"

namespace korvex {
namespace {

uint64_t MillisecondsOf(const SYSTEMTIME& time)
{
    FILETIME fileTime{};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &fileTime));
    return ((uint64_t{fileTime.dwHighDateTime} << 32) | fileTime.dwLowDateTime) / 10000;
}

TEST(NowMs, CountsMillisecondsSince1601InThirtyTwoBits)
{
    const auto systemMs = [] {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count() + 11644473600000);
    };
    const uint32_t before = systemMs();
    const uint32_t now = NowMs();
    EXPECT_LE(now - before, systemMs() - before);
}

TEST(SystemTimeToFileTime, KnowsTheCalendar)
{
    EXPECT_EQ(MillisecondsOf({1601, 1, 0, 1, 0, 0, 0, 0}), 0U);
    EXPECT_EQ(MillisecondsOf({1970, 1, 0, 1, 0, 0, 0, 0}), 11644473600000U);
    EXPECT_EQ(MillisecondsOf({2024, 2, 0, 29, 23, 59, 59, 999}) + 1, MillisecondsOf({2024, 3, 0, 1, 0, 0, 0, 0}));
}

} // namespace
} // namespace korvex
