#include "platform/linux/machine.h"

#include <linux/input.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>

#include "platform/linux/pointer/pointer_log.h"
#include "platform/linux/pointer/pointer_x11.h"
#include "platform/linux/pointer/touch_events.h"
#include "testing/testing.h"

namespace korvex {
namespace {

bool Send(int dx, int dy, DWORD flags)
{
    INPUT input{};
    input.mi = {dx, dy, 0, flags, 0, 0};
    return SendInput(1, &input, sizeof(input)) == 1;
}

// The rows of a screen of 1024 x 768; a release does not move.
void ExpectPointerFollows()
{
    struct Row {
        int dx, dy;
        DWORD flags;
        int x, y;
    };
    for (const Row& row : {Row{32768, 32768, PRESS, 512, 384}, Row{65535, 65535, MOVE, 1023, 767},
             Row{0, 0, RELEASE, 1023, 767}, Row{-6543, 70000, MOVE, 0, 767},
             Row{63, 85, MOVE, 0, 0}, Row{64, 86, MOVE, 1, 1}}) {
        EXPECT_TRUE(Send(row.dx, row.dy, row.flags));
        POINT point{-1, -1};
        EXPECT_TRUE(GetCursorPos(&point));
        EXPECT_THAT((std::array{point.x, point.y}), ElementsAre(row.x, row.y));
    }
}

TEST(Pointer, FollowsWhatIsLoggedUntilNobodyReadsIt)
{
    int ends[2]{};
    ASSERT_EQ(pipe(ends), 0);
    platform::UseLoggedPointer({.descriptor = ends[1]}, nullptr);
    ExpectPointerFollows();
    signal(SIGPIPE, SIG_IGN);
    close(ends[0]);
    EXPECT_FALSE(Send(1, 1, 0x8001)) << "nobody reads the log any more";
    close(ends[1]);
    platform::ThisMachine()->pointer.send = nullptr;
    EXPECT_FALSE(Send(1, 1, 0x8001)) << "no output at all";
}

using Event = std::array<int, 3>; // type, code and value

// The events of each write to the socket that stands in for the kernel's device and keeps writes
// apart.
std::vector<std::vector<Event>> WritesOn(int end)
{
    std::vector<std::vector<Event>> writes;
    std::array<input_event, 8> events{};
    for (ssize_t bytes = 0; (bytes = read(end, events.data(), sizeof(events))) > 0;) {
        writes.emplace_back();
        for (size_t i = 0; i < static_cast<size_t>(bytes) / sizeof(input_event); ++i)
            writes.back().push_back({events[i].type, events[i].code, events[i].value});
    }
    return writes;
}

TEST(WriteTouch, WritesEachChangeOnceInOneWriteWithOneReport)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends.data()), 0);
    platform::TouchState state{false, 0, 0};
    for (const platform::TouchState& next :
        {platform::TouchState{true, 100, 200}, platform::TouchState{true, 100, 200},
            platform::TouchState{true, 101, 200}, platform::TouchState{true, 101, -5},
            platform::TouchState{true, 70000, -9}, platform::TouchState{true, 65540, -9},
            platform::TouchState{false, 65540, -9}, platform::TouchState{true, 65540, -9}}) {
        EXPECT_TRUE(WriteTouch(ends[1], &state, &next));
        state = next;
    }
    const auto touch = [](int on) { return Event{EV_KEY, BTN_TOUCH, on}; };
    const auto x = [](int place) { return Event{EV_ABS, ABS_X, place}; };
    const auto y = [](int place) { return Event{EV_ABS, ABS_Y, place}; };
    const Event report{EV_SYN, SYN_REPORT, 0};
    EXPECT_EQ(WritesOn(ends[0]),
        (std::vector<std::vector<Event>>{{touch(1), x(100), y(200), report}, {x(101), report},
            {y(0), report}, {x(65535), report}, {touch(0), report}, {touch(1), report}}));
    const platform::TouchState other{false, 1, 1};
    EXPECT_FALSE(WriteTouch(-1, &state, &other));
    for (const int end : ends)
        close(end);
}

TEST(Pointer, MovesTheServersPointerAndSurvivesTheServer)
{
    std::string reason;
    EXPECT_FALSE(platform::UseX11Pointer({.display = ":987"}, &reason));
    EXPECT_EQ(reason, "cannot open the X display \":987\"");
    {
        DisplayServer display;
        ASSERT_TRUE(platform::UseX11Pointer({.display = display.name.c_str()}, &reason)) << reason;
        EXPECT_EQ(GetSystemMetrics(SM_CXSCREEN), 1024);
        EXPECT_EQ(GetSystemMetrics(SM_CYSCREEN), 768);
        ExpectPointerFollows();
        EXPECT_EQ(EndBySignal(&display.server, SIGTERM), 0);
    }
    // The server is gone: inputs fail, and the process goes on.
    while (Send(1, 1, 0x8001)) { }
    POINT point{};
    EXPECT_FALSE(GetCursorPos(&point));
    platform::ThisMachine()->pointer = {};
}

} // namespace
} // namespace korvex
