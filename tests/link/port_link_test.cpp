#include "link/port_link.h"

#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/serial/serial_port.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using emulator::SendBytes;

template <typename T>
std::string BytesOf(const T& record)
{
    return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

constexpr uint32_t BYTE_TIMEOUT_MS = 10;

// From unusual settings, of which all stay that are not the link's to set.
TEST(LinkInit, SetsThePortUpForTheController)
{
    const TestLine line;
    PortLink* link = &line.controller->link;
    DCB dcb{};
    ASSERT_TRUE(GetCommState(link->handle, &dcb));
    dcb.BaudRate = 4800;
    dcb.ByteSize = 7;
    dcb.Parity = EVENPARITY;
    dcb.StopBits = TWOSTOPBITS;
    dcb.fRtsControl = RTS_CONTROL_ENABLE;
    dcb.fDtrControl = DTR_CONTROL_ENABLE;
    dcb.fAbortOnError = dcb.fOutX = dcb.fInX = 1;
    ASSERT_TRUE(SetCommState(link->handle, &dcb));
    PortLink fresh{};
    EXPECT_TRUE(LinkInit(&fresh, link->handle, LINK_SERIAL, 3));
    EXPECT_EQ(fresh.byteTimeoutMs, BYTE_TIMEOUT_MS);
    dcb.ByteSize = 8;
    dcb.Parity = NOPARITY;
    dcb.StopBits = ONESTOPBIT;
    dcb.fRtsControl = RTS_CONTROL_DISABLE;
    DCB configured{};
    EXPECT_TRUE(GetCommState(link->handle, &configured));
    EXPECT_EQ(BytesOf(configured), BytesOf(dcb));
    SerialSetBaud(link, 12345); // the port does not have that rate
    EXPECT_EQ(link->baudRate, 12345U);
    EXPECT_TRUE(GetCommState(link->handle, &configured));
    EXPECT_EQ(configured.BaudRate, 4800U);

    EXPECT_FALSE(LinkInit(&fresh, INVALID_HANDLE_VALUE, LINK_SERIAL, 7));
    EXPECT_FALSE(LinkInit(&fresh, link->handle, LINK_NONE, 9));
}

// Two empty waits before each of the bytes that come: the sixth of the whole call ends it, though
// no more than two came in a row.
TEST(SerialRead, GivesUpWithinSixEmptyWaitsWhereverTheyFall)
{
    const TestLine line;
    line.controller->link.byteTimeoutMs = BYTE_TIMEOUT_MS;
    const auto start = std::chrono::steady_clock::now();
    std::thread sender([&] {
        for (const uint8_t byte : {uint8_t{1}, uint8_t{2}}) {
            std::this_thread::sleep_until(start + milliseconds(25) * byte);
            SendBytes(line.emulator.get(), {byte});
        }
    });
    std::array<uint8_t, 6> buffer{};
    const milliseconds taken
        = TimeOf([&] { EXPECT_FALSE(LinkRead(&line.controller->link, buffer.data(), 6)); });
    sender.join();
    // six waits after the last byte would take 110
    EXPECT_THAT(taken.count(), AllOf(Ge(60), Lt(100)));
    EXPECT_EQ(buffer, (std::array<uint8_t, 6>{1, 2})) << "what came is kept";
    EXPECT_FALSE(line.controller->link.readFailed) << "silence is no failure of the port";
}

TEST(SerialRead, WaitsTenMillisecondsForAByteWithinWhateverTimeOutsThePortHad)
{
    for (const COMMTIMEOUTS& before : {COMMTIMEOUTS{MAXDWORD, 0, 0, 7, 9},
             COMMTIMEOUTS{0, 3000, 0, 0, 0}, COMMTIMEOUTS{0, 0, 3000, 0, 0}}) {
        const TestLine line;
        line.controller->link.byteTimeoutMs = BYTE_TIMEOUT_MS;
        COMMTIMEOUTS timeouts = before;
        SetCommTimeouts(line.controller->link.handle, &timeouts);
        uint8_t byte = 0;
        EXPECT_THAT(
            TimeOf([&] { EXPECT_FALSE(LinkRead(&line.controller->link, &byte, 1)); }).count(),
            AllOf(Ge(10), Lt(1000)));
        EXPECT_THAT(TimeOf([&] { EXPECT_TRUE(SerialDrain(&line.controller->link)); }).count(),
            AllOf(Ge(10), Lt(1000)))
            << "a quiet port";
        GetCommTimeouts(line.controller->link.handle, &timeouts);
        EXPECT_EQ(BytesOf(timeouts), BytesOf(before)) << "they are put back";
    }
}

// On a line that hands out 65 bytes at a time, of which the last one is purged.
TEST(SerialDrain, StopsAfterFiveRoundsOnALineThatNeverFallsSilent)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    PortLink link{LINK_SERIAL,
        static_cast<platform::HandleObject*>(platform::AdoptSerialDescriptor(ends[0])), 1, 10, 0};
    for (uint8_t round = 1; round <= 8; ++round)
        ASSERT_EQ(send(ends[1], std::vector<uint8_t>(65, round).data(), 65, 0), 65);
    EXPECT_TRUE(SerialDrain(&link));
    uint8_t next = 0;
    EXPECT_TRUE(LinkRead(&link, &next, 1));
    EXPECT_EQ(next, 6);
    CloseHandle(link.handle);
    close(ends[1]);
}

} // namespace
} // namespace korvex
