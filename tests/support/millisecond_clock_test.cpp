#include "support/millisecond_clock.h"

#include <cstdint>

#include "testing/testing.h"

namespace korvex {
namespace {

TEST(NowMs, CountsMillisecondsSince1601InThirtyTwoBits)
{
    const auto systemMs = [] {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        return static_cast<uint32_t>(
            std::chrono::duration_cast<milliseconds>(now).count() + 11644473600000);
    };
    const uint32_t before = systemMs();
    const uint32_t now = NowMs();
    EXPECT_LE(now - before, systemMs() - before);
}

} // namespace
} // namespace korvex
