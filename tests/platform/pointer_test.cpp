#include "platform/linux/pointer/pointer.h"

#include <unistd.h>

#include <csignal>

#include "platform/linux/machine.h"
#include "platform/linux/pointer/pointer_log.h"
#include "platform/linux/pointer/pointer_x11.h"
#include "testing/process.h"
#include "testing/recorders.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using platform::ThisMachine;

bool Send(int dx, int dy, DWORD flags)
{
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dx = dx;
    input.mi.dy = dy;
    input.mi.dwFlags = flags;
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
    ThisMachine()->pointer.send = nullptr;
    EXPECT_FALSE(Send(1, 1, 0x8001)) << "no output at all";
    INPUT input{};
    EXPECT_EQ(SendInput(1, &input, 1), 0U) << "a record of another size";
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
    ThisMachine()->pointer = {};
}

} // namespace
} // namespace korvex
