#include "link/port_link.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "testing/test_line.h"

namespace korvex {
namespace {

using emulator::SendBytes;
using std::chrono::milliseconds;
using testing::TestLine;

COMMTIMEOUTS TimeoutsOf(const TestLine& line)
{
    COMMTIMEOUTS timeouts{};
    EXPECT_TRUE(GetCommTimeouts(line.controller->link.handle, &timeouts));
    return timeouts;
}

milliseconds Elapsed(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

TEST(LinkInit, SetsThePortUpForTheController)
{
    const TestLine line;
    PortLink* link = &line.controller->link;
    EXPECT_EQ(link->kind, LINK_SERIAL);
    EXPECT_EQ(link->portNumber, 3U);
    EXPECT_EQ(link->byteTimeoutMs, 10U);
    DCB dcb{};
    EXPECT_TRUE(GetCommState(link->handle, &dcb));
    EXPECT_EQ(dcb.fRtsControl, RTS_CONTROL_DISABLE);
    EXPECT_EQ(dcb.ByteSize, 8);
    EXPECT_EQ(dcb.Parity, NOPARITY);
    EXPECT_EQ(dcb.BaudRate, 19200U);
    SerialSetBaud(link, 12345); // the port has no such rate
    EXPECT_EQ(link->baudRate, 12345U);
    EXPECT_TRUE(GetCommState(link->handle, &dcb));
    EXPECT_EQ(dcb.BaudRate, 19200U);

    PortLink other{};
    EXPECT_FALSE(LinkInit(&other, INVALID_HANDLE_VALUE, LINK_SERIAL, 7));
    EXPECT_EQ(other.portNumber, 7U);
    EXPECT_FALSE(LinkInit(&other, link->handle, 1, 9));
    EXPECT_EQ(other.kind, 1U);
    EXPECT_EQ(other.portNumber, 7U);
}

TEST(PortLink, TransfersNothingWithoutAPort)
{
    std::array<uint8_t, 6> buffer{};
    PortLink none{};
    EXPECT_FALSE(LinkRead(&none, buffer.data(), 6));
    EXPECT_FALSE(LinkWrite(&none, buffer.data(), 6));
    EXPECT_TRUE(LinkWaitInput(&none));
    PortLink invalid{LINK_SERIAL, INVALID_HANDLE_VALUE, 1, 10, 0};
    EXPECT_TRUE(LinkRead(&invalid, buffer.data(), 6));
    EXPECT_TRUE(LinkWrite(&invalid, buffer.data(), 6));
    EXPECT_TRUE(SerialDrain(&invalid));
    const TestLine line;
    EXPECT_TRUE(LinkRead(&line.controller->link, nullptr, 0));
    EXPECT_TRUE(LinkWrite(&line.controller->link, nullptr, 0));
}

// Two empty waits before each of the bytes that come: the sixth of the whole call ends it, though no more than two came in a row.
TEST(SerialRead, GivesUpWithinSixEmptyWaitsWhereverTheyFall)
{
    const TestLine line;
    const COMMTIMEOUTS before = TimeoutsOf(line);
    const auto start = std::chrono::steady_clock::now();
    std::thread sender([&] {
        for (const uint8_t byte : {uint8_t{1}, uint8_t{2}}) {
            std::this_thread::sleep_until(start + milliseconds(25) * byte);
            SendBytes(line.emulator.get(), {byte});
        }
    });
    std::array<uint8_t, 6> buffer{};
    EXPECT_FALSE(LinkRead(&line.controller->link, buffer.data(), 6));
    const milliseconds taken = Elapsed(start);
    sender.join();
    EXPECT_GE(taken.count(), 60);
    EXPECT_LT(taken.count(), 100); // six waits after the last byte would take 110
    EXPECT_EQ(buffer, (std::array<uint8_t, 6>{1, 2})) << "what came is kept";
    const COMMTIMEOUTS after = TimeoutsOf(line);
    EXPECT_EQ(memcmp(&before, &after, sizeof(before)), 0);

    const auto single = std::chrono::steady_clock::now();
    EXPECT_FALSE(LinkRead(&line.controller->link, buffer.data(), 1));
    EXPECT_GE(Elapsed(single).count(), 10);
    EXPECT_LT(Elapsed(single).count(), 60);
}

TEST(SerialRead, ToleratesPausesWithinItsAllowanceAnywhereInThePacket)
{
    for (const size_t cut : {1U, 3U, 5U}) {
        const TestLine line;
        std::thread sender([&] {
            const emulator::Bytes bytes{1, 2, 3, 4, 5, 6};
            const auto middle = bytes.begin() + static_cast<ptrdiff_t>(cut);
            SendBytes(line.emulator.get(), {bytes.begin(), middle});
            std::this_thread::sleep_for(milliseconds(35)); // three or four empty waits of the six
            SendBytes(line.emulator.get(), {middle, bytes.end()});
        });
        std::array<uint8_t, 6> buffer{};
        EXPECT_TRUE(LinkRead(&line.controller->link, buffer.data(), 6)) << "after byte " << cut;
        EXPECT_EQ(buffer, (std::array<uint8_t, 6>{1, 2, 3, 4, 5, 6}));
        sender.join();
    }
}

TEST(SerialRead, TakesNoByteBeyondThePacket)
{
    const TestLine line;
    SendBytes(line.emulator.get(), {1, 2, 3, 4, 5});
    std::array<uint8_t, 3> first{};
    std::array<uint8_t, 2> second{};
    EXPECT_TRUE(LinkRead(&line.controller->link, first.data(), 3));
    EXPECT_TRUE(LinkWaitInput(&line.controller->link)) << "what is queued ends a wait at once";
    EXPECT_TRUE(LinkRead(&line.controller->link, second.data(), 2));
    EXPECT_EQ(second, (std::array<uint8_t, 2>{4, 5}));
}

TEST(SerialDrain, EndsAtTheFirstQuietIntervalAndRestoresTheTimeouts)
{
    const TestLine line;
    const COMMTIMEOUTS before = TimeoutsOf(line);
    SendBytes(line.emulator.get(), emulator::Bytes(500, 0x55));
    EXPECT_TRUE(SerialDrain(&line.controller->link));
    uint8_t byte = 0;
    EXPECT_FALSE(LinkRead(&line.controller->link, &byte, 1));
    EXPECT_TRUE(SerialDrain(&line.controller->link)) << "a quiet port drains too";
    const COMMTIMEOUTS after = TimeoutsOf(line);
    EXPECT_EQ(memcmp(&before, &after, sizeof(before)), 0);
}

TEST(SerialDrain, StopsOnALineThatNeverFallsSilentWithinAHundredMilliseconds)
{
    const TestLine line;
    std::atomic<bool> done{false};
    std::thread chatter([&] {
        while (!done) {
            SendBytes(line.emulator.get(), emulator::Bytes(4, 0x55));
            std::this_thread::sleep_for(milliseconds(1));
        }
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(SerialDrain(&line.controller->link));
    EXPECT_GE(Elapsed(start).count(), 45); // five rounds of 10 ms, in none of which 64 bytes come
    EXPECT_LT(Elapsed(start).count(), 100);
    done = true;
    chatter.join();
}

TEST(SerialWrite, CountsAShortWriteAsFailed)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(grantpt(master) | unlockpt(master), 0);
    PortLink link{};
    ASSERT_TRUE(LinkInit(&link, testing::OpenPort(ptsname(master)), LINK_SERIAL, 1));
    const std::vector<uint8_t> much(1 << 20); // more than a line takes that nobody reads
    const COMMTIMEOUTS before{0, 0, 0, 7, 9};
    COMMTIMEOUTS timeouts = before;
    SetCommTimeouts(link.handle, &timeouts);
    EXPECT_FALSE(LinkWrite(&link, much.data(), static_cast<uint32_t>(much.size())));
    GetCommTimeouts(link.handle, &timeouts);
    EXPECT_EQ(memcmp(&before, &timeouts, sizeof(before)), 0);
    CloseHandle(link.handle);
    close(master);
}

TEST(PortLink, FailsAtOnceWhenTheFarEndIsGone)
{
    const TestLine line;
    HangUp(line.emulator.get());
    std::array<uint8_t, 6> buffer{};
    EXPECT_FALSE(LinkRead(&line.controller->link, buffer.data(), 6));
    EXPECT_FALSE(LinkWrite(&line.controller->link, buffer.data(), 6));
    EXPECT_FALSE(LinkWaitInput(&line.controller->link));
    EXPECT_FALSE(SerialDrain(&line.controller->link));
}

} // namespace
} // namespace korvex
